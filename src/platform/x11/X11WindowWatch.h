#pragma once

#include "platform/Desktop.h"
#include "platform/x11/X11Connection.h"

#include <QHash>
#include <QObject>
#include <QRect>

// Which window is in front, what the windows the desktop was asked about look like, and their
// changes: each window asked about (and the one in front) is watched through its own events and
// those of the window manager's frame around it, so moves, title changes, minimising and closing
// are reported without polling. The window manager is asked through EWMH.
class X11WindowWatch : public QObject {
    Q_OBJECT
public:
    X11WindowWatch(X11Connection& connection, QObject* parent = nullptr);

    WindowInfo foregroundWindow();
    WindowInfo window(WindowId id);
    // Asks the window manager to bring the window to the front.
    bool activate(WindowId id);

    void handleEvent(_XEvent& event);

signals:
    void foregroundChanged(WindowId id);
    void windowMoved(WindowId id, const QRect& frame);
    void windowTitleChanged(WindowId id, const QString& title);

private:
    // A window whose moves and title changes are reported.
    struct Watch {
        unsigned long frame = 0; // the window manager's frame around it, 0 when not reparented
        QRect lastFrame;
        QString lastTitle;
        bool requested = false; // asked for by the caller, not only the foreground for a while
    };

    unsigned long activeWindow();
    WindowInfo readWindow(unsigned long id);
    QString readTitle(unsigned long id);
    unsigned long frameOf(unsigned long id);

    WindowInfo watch(unsigned long id, bool requested);
    void forget(unsigned long id, bool stillExists);
    void followReparenting(unsigned long id);
    void foregroundMayHaveChanged();
    void frameMayHaveChanged(unsigned long id);
    void titleMayHaveChanged(unsigned long id);
    void stateMayHaveChanged(unsigned long id);
    unsigned long watchedClientOf(unsigned long window) const;

    X11Connection& m_x;
    unsigned long m_foreground = 0;
    QHash<unsigned long, Watch> m_watched;
    QHash<unsigned long, unsigned long> m_frameOwners; // frame -> client
};
