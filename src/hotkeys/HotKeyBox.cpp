#include "hotkeys/RKHotKey.h"

#include "data/IniFile.h"
#include "data/SettingsTable.h"
#include "hotkeys/VirtualKeyMap.h"
#include "platform/Desktop.h"
#include "widgets/Dialogs.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMouseEvent>

namespace {

// Every control registers under an id of its own, so that one control's hot key never
// replaces another's.
int nextRegistrationId()
{
    static int last = 0;
    return ++last;
}

QString keyCodeKey(const QString& stem)
{
    return stem + QStringLiteral("KeyCode");
}

QString modKeyCodeKey(const QString& stem)
{
    return stem + QStringLiteral("ModKeyCode");
}

int virtualKeyOf(const QKeyEvent* event)
{
#ifdef Q_OS_WIN
    // Windows hands over the virtual key itself, whatever the layout.
    if (event->nativeVirtualKey() != 0)
        return static_cast<int>(event->nativeVirtualKey());
#endif
    return VirtualKeyMap::fromQtKey(event->key(), event->modifiers());
}

} // namespace

RKHotKey::RKHotKey(Desktop& desktop, QWidget* parent)
    : QLineEdit(parent), m_desktop(desktop),
      m_capture([&desktop](int virtualKey) { return desktop.keyName(virtualKey); }),
      m_registrationId(nextRegistrationId())
{
    // Keys go to the capture, never to an input method, a drop or the clipboard.
    setAttribute(Qt::WA_InputMethodEnabled, false);
    setAcceptDrops(false);
    showCapture();
    connect(&m_desktop, &Desktop::hotKeyPressed, this, [this](int id) {
        if (id == m_registrationId && m_enabled)
            emit hotKeyPressed();
    });
}

RKHotKey::~RKHotKey()
{
    if (m_enabled)
        m_desktop.unregisterHotKey(m_registrationId);
}

void RKHotKey::setCombination(const QString& text, int keyCode, int modKeyCode)
{
    setHotKeyEnabled(false);
    m_capture.set(text, keyCode, modKeyCode);
    showCapture();
}

void RKHotKey::setHotKeyEnabled(bool enabled)
{
    if (enabled == m_enabled)
        return;
    if (!enabled) {
        m_desktop.unregisterHotKey(m_registrationId);
        m_enabled = false;
        return;
    }
    if (keyCode() == 0) {
        notify(QStringLiteral("未设置热键！"));
        return;
    }
    const DesktopResult registered =
        m_desktop.registerHotKey(m_registrationId, keyCode(), modKeyCode());
    if (!registered.ok()) {
        // Only a combination another program holds is a clash; anything else is said as it is.
        notify(registered.isTaken() ? QStringLiteral("热键冲突，请换一个热键。")
                                    : QStringLiteral("热键无法注册：") + registered.reason());
        m_capture.clear();
        showCapture();
        m_clashed = registered.isTaken();
        if (m_clashed)
            emit hotKeyClash();
        return;
    }
    m_clashed = false;
    m_enabled = true;
}

Result<void> RKHotKey::saveSettings() const
{
    IniFile ini(m_iniFile);
    if (Result<void> loaded = ini.load(); !loaded)
        return loaded;
    const QString section = SettingsTable::hotKeySection();
    const QString stem = objectName();
    if (Result<void> r = ini.writeIni(section, stem, m_capture.text()); !r)
        return r;
    if (Result<void> r = ini.writeIni(section, keyCodeKey(stem), QString::number(keyCode())); !r)
        return r;
    return ini.writeIni(section, modKeyCodeKey(stem), QString::number(modKeyCode()));
}

Result<void> RKHotKey::loadSettings()
{
    IniFile ini(m_iniFile);
    if (Result<void> loaded = ini.load(); !loaded)
        return loaded;
    const QString section = SettingsTable::hotKeySection();
    const QString stem = objectName();
    const QString zero = QStringLiteral("0");
    setCombination(ini.readIni(section, stem, HotKeyCapture::noneText()),
                   ini.readIni(section, keyCodeKey(stem), zero).toInt(),
                   ini.readIni(section, modKeyCodeKey(stem), zero).toInt());
    return {};
}

bool RKHotKey::event(QEvent* event)
{
    // Every combination is the agent's to capture, including those the window would otherwise
    // take as shortcuts (Ctrl+V, Ctrl+A).
    if (event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    return QLineEdit::event(event);
}

void RKHotKey::keyPressEvent(QKeyEvent* event)
{
    event->accept();
    const int virtualKey = virtualKeyOf(event);
    if (virtualKey == 0)
        return;
    const Qt::KeyboardModifiers held =
        event->modifiers() | VirtualKeyMap::modifierOfKey(event->key());
    if (!m_capture.keyDown(virtualKey, held))
        return;
    // The combination is given up while it is being edited; the window decides when to
    // register the new one.
    setHotKeyEnabled(false);
    showCapture();
    emit keyDown(virtualKey, held);
}

void RKHotKey::keyReleaseEvent(QKeyEvent* event)
{
    event->accept();
    // A held key repeats only its press, as on Windows; the releases X11 puts between are not
    // letting go.
    const int virtualKey = virtualKeyOf(event);
    if (virtualKey == 0 || event->isAutoRepeat())
        return;
    m_capture.keyUp(virtualKey);
    showCapture();
    emit keyUp(virtualKey, event->modifiers());
}

void RKHotKey::contextMenuEvent(QContextMenuEvent* event)
{
    event->accept();
}

void RKHotKey::mousePressEvent(QMouseEvent* event)
{
    // A middle click would paste the selection into the box.
    if (event->button() == Qt::MiddleButton) {
        event->accept();
        return;
    }
    QLineEdit::mousePressEvent(event);
}

void RKHotKey::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::MiddleButton) {
        event->accept();
        return;
    }
    QLineEdit::mouseReleaseEvent(event);
}

void RKHotKey::showCapture()
{
    setText(m_capture.text());
    end(false);
}

void RKHotKey::notify(const QString& text)
{
    Dialogs::message(window(), objectName() + text);
}
