#pragma once

#include "hotkeys/HotKeyAssignments.h"

#include <QList>
#include <QObject>
#include <QPointer>

class Desktop;
class QWidget;
class HotKeyBox;
class Sender;
class Settings;
class Store;

// The panel's twelve global hot keys: the capture controls K1..K12 (kept hidden on the panel;
// they hold and register the combinations of config.ini), what each pastes, and the press that
// pastes it through the panel's sender. Failures are shown in the message window. StartHotKey
// switched on or off registers or gives up the keys at once.
class HotKeyManager : public QObject {
    Q_OBJECT
public:
    // The controls become hidden children of `panel`, loaded from the settings' file.
    HotKeyManager(Settings& settings, Store& store, Desktop& desktop, Sender& sender,
                  QWidget* panel);

    Settings& settings() const { return m_settings; }
    Store& store() const { return m_store; }
    Desktop& desktop() const { return m_desktop; }

    // n is 1..12.
    HotKeyBox* control(int n) const;
    const HotKeyAssignments& assignments() const { return m_assignments; }

    // Registers every control that holds a combination. Nothing is registered where the
    // desktop gives no access to global keys.
    void enableAll();
    void disableAll();

    // Pastes what assignment `index` (0..11) holds into the chat window.
    void press(int index);

    // While the hot-key window captures new combinations the registered ones would swallow its
    // keys: they are given up, and taken again when the window closes without saving.
    void suspend();
    void resume();
    // After the hot-key window saved: the assignments and combinations are read again from the
    // settings and every control is registered afresh.
    void applySaved();

private:
    void report(const Result<void>& result);

    Settings& m_settings;
    Store& m_store;
    Desktop& m_desktop;
    Sender& m_sender;
    QPointer<QWidget> m_panel;
    QList<QPointer<HotKeyBox>> m_controls;
    HotKeyAssignments m_assignments;
    QList<int> m_suspended; // numbers of the controls suspend() gave up
    bool m_started;         // StartHotKey as last seen
};
