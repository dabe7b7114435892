#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <functional>

class QSocketNotifier;

// Xlib's own types, declared here so that its macros (None, KeyPress, Bool, Status...) stay out
// of every file that includes this header.
struct _XDisplay;
union _XEvent;

// The desktop's own connection to the X server, apart from Qt's: the display and the atoms the
// desktop uses, property reads, and the server's errors, which are collected per request (an
// ErrorTrap) so that each request's outcome is known, instead of Xlib ending the process. Events
// are read in the Qt event loop and handed to one handler; nothing runs in another thread.
class X11Connection : public QObject {
    Q_OBJECT
public:
    enum AtomName {
        NetActiveWindow,
        NetWmName,
        NetFrameExtents,
        NetWmState,
        NetWmStateHidden,
        NetWmPid,
        WmState,
        Utf8String,
        CompoundText,
        AtomCount
    };

    struct ServerError {
        int code = 0;
        int request = 0;
        int minor = 0;
        unsigned long resource = 0;
    };

    // Collects the errors of the requests made while it lives (see the .cpp). Traps nest.
    class ErrorTrap {
    public:
        explicit ErrorTrap(X11Connection& connection);
        ~ErrorTrap();
        ErrorTrap(const ErrorTrap&) = delete;
        ErrorTrap& operator=(const ErrorTrap&) = delete;

        // Waits until the server has handled every request sent so far and returns the errors
        // they caused.
        QList<ServerError> sync();

        // For the error handler, which finds the innermost trap of a connection.
        X11Connection& connection() const { return m_connection; }
        ErrorTrap* outer() const { return m_outer; }
        void collect(const ServerError& error) { m_errors.append(error); }

    private:
        bool pending() const;

        X11Connection& m_connection;
        ErrorTrap* m_outer;
        unsigned long m_checkedUpTo = 0;
        QList<ServerError> m_errors;
    };

    // An empty display name means $DISPLAY.
    explicit X11Connection(const QByteArray& displayName, QObject* parent = nullptr);
    ~X11Connection() override;

    bool isOpen() const { return m_display != nullptr; }
    // Why the connection could not be made; empty when it is open.
    QString failure() const { return m_failure; }

    _XDisplay* display() const { return m_display; }
    unsigned long root() const { return m_root; }
    unsigned long atom(AtomName atom) const { return m_atoms[atom]; }
    bool hasXTest() const { return m_hasXTest; }
    bool hasDetectableRepeat() const { return m_detectableRepeat; }
    // The server time of the last event seen, for requests that want one.
    unsigned long lastTime() const { return m_lastTime; }
    void noteTime(unsigned long time) { m_lastTime = time; }

    // A property of `type` (AnyPropertyType: any); 8-bit data into `bytes`, 32-bit into `values`.
    bool readProperty(unsigned long window, unsigned long property, unsigned long type,
                      QByteArray* bytes, QList<unsigned long>* values = nullptr,
                      unsigned long* actualType = nullptr);

    void setEventHandler(std::function<void(_XEvent&)> handler) { m_handler = std::move(handler); }
    // A round trip reads whatever events arrived before its reply into Xlib's queue, where the
    // socket notifier no longer sees them: they are handled on the next turn of the event loop.
    void scheduleProcessing();

    // Reports each error as a problem of `action`.
    void report(const QList<ServerError>& errors, const QString& action);
    void tell(const QString& message) { emit problem(message); }
    QString errorText(const ServerError& error) const;
    // Only errors saying that a window no longer exists.
    static bool onlyVanished(const QList<ServerError>& errors);

signals:
    void problem(const QString& message);

private:
    void processEvents();

    _XDisplay* m_display = nullptr;
    QString m_failure;
    unsigned long m_root = 0;
    unsigned long m_atoms[AtomCount] = {};
    bool m_hasXTest = false;
    bool m_detectableRepeat = false;
    unsigned long m_lastTime = 0;
    QSocketNotifier* m_notifier = nullptr;
    bool m_processingScheduled = false;
    std::function<void(_XEvent&)> m_handler;
};
