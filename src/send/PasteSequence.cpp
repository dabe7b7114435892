#include "PasteSequence.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

PasteSequence::PasteSequence(Desktop& desktop, QObject* parent)
    : QObject(parent), m_desktop(desktop)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &PasteSequence::poll);
}

QList<KeyStroke> PasteSequence::pasteKeys()
{
    return {{VirtualKey::Control, true},
            {VirtualKey::V, true},
            {VirtualKey::V, false},
            {VirtualKey::Control, false}};
}

QList<KeyStroke> PasteSequence::sendKeys(SendKey key)
{
    switch (key) {
    case SendKey::Enter:
        return {{VirtualKey::Enter, true}, {VirtualKey::Enter, false}};
    case SendKey::CtrlEnter:
        // Ctrl is released before Enter, as chat clients have always received it.
        return {{VirtualKey::Control, true},
                {VirtualKey::Enter, true},
                {VirtualKey::Control, false},
                {VirtualKey::Enter, false}};
    case SendKey::None:
        break;
    }
    return {};
}

void PasteSequence::start(const QMimeData* mime, WindowId target, SendKey sendKey)
{
    abort();
    m_mime = mime;
    m_target = target;
    m_sendKey = sendKey;
    m_activationAsked = false;
    enter(Step::Clipboard);
    poll();
}

void PasteSequence::abort()
{
    m_timer.stop();
    m_step = Step::Idle;
}

void PasteSequence::enter(Step step)
{
    m_step = step;
    m_elapsed.start();
}

void PasteSequence::fail(const QString& problem)
{
    abort();
    emit finished(false, problem);
}

void PasteSequence::poll()
{
    if (m_step == Step::Clipboard) {
        const QClipboard* clipboard = QGuiApplication::clipboard();
        const bool ours = m_mime && (clipboard->ownsClipboard() || clipboard->mimeData() == m_mime);
        if (!ours) {
            if (m_elapsed.elapsed() >= m_limits.clipboardMs)
                return fail(QStringLiteral("剪贴板被其他程序占用，内容没有粘贴。"));
            m_timer.start(m_limits.pollMs);
            return;
        }
        enter(m_target != 0 ? Step::Activation : Step::Modifiers);
    }
    if (m_step == Step::Activation) {
        if (m_desktop.foregroundWindow().id != m_target) {
            if (!m_activationAsked) {
                m_activationAsked = true;
                if (!m_desktop.activate(m_target))
                    return fail(QStringLiteral("无法切换到聊天窗口，内容没有粘贴。"));
            }
            if (m_elapsed.elapsed() >= m_limits.activationMs)
                return fail(QStringLiteral("聊天窗口没有回到前台，内容没有粘贴。"));
            m_timer.start(m_limits.pollMs);
            return;
        }
        enter(Step::Modifiers);
    }
    if (m_step == Step::Modifiers) {
        // Keys sent while the agent still holds Ctrl, Alt or Shift would combine with them.
        if (m_desktop.heldModifiers() != 0) {
            if (m_elapsed.elapsed() >= m_limits.modifiersMs)
                return fail(QStringLiteral("按键一直被按住，内容没有粘贴。"));
            m_timer.start(m_limits.pollMs);
            return;
        }
        paste();
    }
}

void PasteSequence::paste()
{
    abort();
    if (!m_desktop.sendKeys(pasteKeys()))
        return fail(QStringLiteral("无法模拟粘贴按键。"));
    const QList<KeyStroke> send = sendKeys(m_sendKey);
    if (!send.isEmpty() && !m_desktop.sendKeys(send))
        return fail(QStringLiteral("无法模拟发送按键。"));
    emit finished(true, QString());
}
