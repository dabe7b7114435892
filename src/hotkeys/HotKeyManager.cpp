#include "hotkeys/HotKeyManager.h"

#include "data/Settings.h"
#include "hotkeys/HotKeyBox.h"
#include "platform/Desktop.h"
#include "send/Sender.h"
#include "widgets/Dialogs.h"

#include <QWidget>
#include <utility>

HotKeyManager::HotKeyManager(Settings& settings, Store& store, Desktop& desktop, Sender& sender,
                             QWidget* panel)
    : QObject(panel), m_settings(settings), m_store(store), m_desktop(desktop), m_sender(sender),
      m_panel(panel), m_started(settings.flag(Setting::StartHotKey))
{
    // Switching StartHotKey takes or gives up the keys at once; writing the same value again
    // leaves them as they are (the hot-key window may have registered them meanwhile).
    connect(&m_settings, &Settings::changed, this, [this](Setting s) {
        if (s != Setting::StartHotKey || m_settings.flag(s) == m_started)
            return;
        m_started = !m_started;
        if (m_started)
            enableAll();
        else
            disableAll();
    });
    m_assignments.load(m_settings);
    for (int n = 1; n <= HotKeyAssignments::Count; ++n) {
        auto* control = new HotKeyBox(m_desktop, panel);
        control->setObjectName(QLatin1Char('K') + QString::number(n));
        control->hide();
        control->load(m_settings, n);
        connect(control, &HotKeyBox::hotKeyPressed, this, [this, n] { press(n - 1); });
        m_controls << control;
    }
}

HotKeyBox* HotKeyManager::control(int n) const
{
    if (n < 1 || n > m_controls.size())
        return nullptr;
    return m_controls.at(n - 1);
}

void HotKeyManager::enableAll()
{
    if (!m_desktop.isAvailable())
        return;
    // A control without a key has nothing to register; saving it already said so.
    for (HotKeyBox* control : std::as_const(m_controls)) {
        if (control && control->keyCode() != 0)
            control->setHotKeyEnabled(true);
    }
}

void HotKeyManager::disableAll()
{
    for (HotKeyBox* control : std::as_const(m_controls)) {
        if (control)
            control->setHotKeyEnabled(false);
    }
}

void HotKeyManager::press(int index)
{
    const Result<QString> text = m_assignments.pressText(index, m_store, m_settings);
    if (!text) {
        report(text.error());
        return;
    }
    if (text.value().isEmpty())
        return;
    m_sender.sendText(text.value(), PasteOrigin::HotKey);
}

void HotKeyManager::suspend()
{
    m_suspended.clear();
    for (int n = 1; n <= m_controls.size(); ++n) {
        HotKeyBox* c = control(n);
        if (c && c->hotKeyEnabled()) {
            m_suspended << n;
            c->setHotKeyEnabled(false);
        }
    }
}

void HotKeyManager::resume()
{
    for (int n : std::exchange(m_suspended, {})) {
        if (HotKeyBox* c = control(n))
            c->setHotKeyEnabled(true);
    }
}

void HotKeyManager::applySaved()
{
    m_suspended.clear();
    m_assignments.load(m_settings);
    // All are given up before any is taken again, so that two keys may swap combinations.
    disableAll();
    for (int n = 1; n <= m_controls.size(); ++n) {
        if (HotKeyBox* c = control(n))
            c->load(m_settings, n);
    }
    enableAll();
}

void HotKeyManager::report(const Result<void>& result)
{
    if (!result)
        Dialogs::message(m_panel, result.message());
}
