#pragma once

#include "Desktop.h"

#include <QObject>
#include <QStringList>

// The remembered input window: the window the agent last typed in, to which a paste returns the
// focus. The desktop reports every change of the foreground window; our own windows (known by
// their titles) are never remembered.
class InputWindowTracker : public QObject {
    Q_OBJECT
public:
    InputWindowTracker(Desktop& desktop, QStringList ownTitles, QObject* parent = nullptr);

    // The panel (or the query bar) came to the front, or was clicked while the focus is to be
    // kept: remember the window that was in front before it and ask for the focus back.
    void remember();

    struct Target {
        WindowId window = 0;
        bool restoreFocus = false;
    };
    // What the next paste uses; the restore-focus flag is cleared by taking it.
    Target take();
    Target peek() const { return {m_remembered, m_restore}; }

    bool isOwnWindow(const WindowInfo& info) const;
    WindowId lastForeignWindow() const { return m_lastForeign; }

private:
    void onForegroundChanged(WindowId id);

    Desktop& m_desktop;
    QStringList m_ownTitles;
    WindowId m_lastForeign = 0;
    WindowId m_remembered = 0;
    bool m_restore = false;
};
