#pragma once

#include <QString>
#include <Qt>
#include <functional>

// What the capture box makes of the keys typed into it: the readable combination ("Ctrl + Alt +
// F5"), the main key's virtual-key code and the modifier mask (Alt 1, Ctrl 2, Shift 4). Keys
// arrive as virtual-key codes together with the modifiers held at that moment.
class HotKeyCapture {
public:
    // The system's name of a key ("A", "F5").
    using KeyNamer = std::function<QString(int virtualKey)>;

    explicit HotKeyCapture(KeyNamer keyName);

    static QString noneText(); // 无

    // False when the key is not taken at all (the context-menu key); true when the combination
    // was rebuilt, which also means that it is being edited.
    bool keyDown(int virtualKey, Qt::KeyboardModifiers held);
    // Without a main key, letting go leaves nothing: "无" and no modifiers.
    void keyUp(int virtualKey);

    // A combination set from outside (loaded, restored to a default, cleared after a clash).
    void set(const QString& text, int keyCode, int modifierMask);
    void clear() { set(noneText(), 0, 0); }

    QString text() const { return m_text; }
    int keyCode() const { return m_keyCode; }
    int modifierMask() const { return m_modifierMask; }

private:
    KeyNamer m_keyName;
    QString m_text = noneText();
    int m_keyCode = 0;
    int m_modifierMask = 0;
    // While the Windows key is down the mask is not started afresh, so the modifiers pressed
    // before it stay in the combination.
    bool m_windowsKeyDown = false;
};
