#include "hotkeys/HotKeyBox.h"

#include "data/Settings.h"
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

HotKeyBox::HotKeyBox(Desktop& desktop, QWidget* parent)
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

HotKeyBox::~HotKeyBox()
{
    if (m_enabled)
        m_desktop.unregisterHotKey(m_registrationId);
}

void HotKeyBox::setCombination(const QString& text, int keyCode, int modKeyCode)
{
    setHotKeyEnabled(false);
    m_capture.set(text, keyCode, modKeyCode);
    showCapture();
}

void HotKeyBox::setHotKeyEnabled(bool enabled)
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

void HotKeyBox::load(const Settings& settings, int n)
{
    setCombination(settings.hotKey(n, HotKeyField::Key),
                   settings.hotKey(n, HotKeyField::KeyCode).toInt(),
                   settings.hotKey(n, HotKeyField::ModKeyCode).toInt());
}

bool HotKeyBox::event(QEvent* event)
{
    // Every combination is the agent's to capture, including those the window would otherwise
    // take as shortcuts (Ctrl+V, Ctrl+A).
    if (event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    return QLineEdit::event(event);
}

void HotKeyBox::keyPressEvent(QKeyEvent* event)
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

void HotKeyBox::keyReleaseEvent(QKeyEvent* event)
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

void HotKeyBox::contextMenuEvent(QContextMenuEvent* event)
{
    event->accept();
}

void HotKeyBox::mousePressEvent(QMouseEvent* event)
{
    // A middle click would paste the selection into the box.
    if (event->button() == Qt::MiddleButton) {
        event->accept();
        return;
    }
    QLineEdit::mousePressEvent(event);
}

void HotKeyBox::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::MiddleButton) {
        event->accept();
        return;
    }
    QLineEdit::mouseReleaseEvent(event);
}

void HotKeyBox::showCapture()
{
    setText(m_capture.text());
    end(false);
}

void HotKeyBox::notify(const QString& text)
{
    Dialogs::message(window(), objectName() + text);
}
