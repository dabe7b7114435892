#pragma once

#include "hotkeys/HotKeyCapture.h"

#include <QLineEdit>

class Desktop;
class Settings;

// The hot-key capture box: the agent types a combination into it, it shows the combination as
// text, keeps it, and registers it with the system as a global hot key. Its objectName ("K1")
// names it in its notices.
class HotKeyBox : public QLineEdit {
    Q_OBJECT
public:
    explicit HotKeyBox(Desktop& desktop, QWidget* parent = nullptr);
    ~HotKeyBox() override;

    int keyCode() const { return m_capture.keyCode(); }
    int modKeyCode() const { return m_capture.modifierMask(); }
    // Shows the combination and keeps its codes; a registered combination is given up first.
    void setCombination(const QString& text, int keyCode, int modKeyCode);

    // Registers (true) or unregisters (false) the combination; a refused registration leaves
    // the control empty and tells the user why.
    bool hotKeyEnabled() const { return m_enabled; }
    void setHotKeyEnabled(bool enabled);
    // The last registration was refused because the combination is taken.
    bool clashed() const { return m_clashed; }

    // The id under which the desktop knows this control's hot key.
    int registrationId() const { return m_registrationId; }

    // Shows hot key n (1..12) of the settings: its combination text and codes.
    void load(const Settings& settings, int n);

signals:
    void hotKeyPressed();
    void hotKeyClash();
    // The keys typed into the box, as virtual-key codes, for the window holding it.
    void keyDown(int virtualKey, Qt::KeyboardModifiers modifiers);
    void keyUp(int virtualKey, Qt::KeyboardModifiers modifiers);

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void showCapture();
    void notify(const QString& text);

    Desktop& m_desktop;
    HotKeyCapture m_capture;
    int m_registrationId;
    bool m_enabled = false;
    bool m_clashed = false;
};
