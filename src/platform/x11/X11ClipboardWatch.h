#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>

struct xcb_connection_t;

// Qt holds our clipboard on its own connection to the X server and serves other programs'
// requests for it without telling anyone. This filter sees each request for the content (not for
// the list of formats or the time stamp) in Qt's event stream, just before Qt answers it.
class X11ClipboardWatch : public QObject, public QAbstractNativeEventFilter {
    Q_OBJECT
public:
    // Null unless the application runs on Qt's xcb platform.
    static X11ClipboardWatch* create(QObject* parent);
    ~X11ClipboardWatch() override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

    // The bits of a resource id that number it within its connection (the same for every
    // connection to the server).
    unsigned resourceIdMask() const { return m_resourceIdMask; }
    // Returns once the server has handled everything Qt sent so far, its answers to requests
    // included: whatever the server handles next reaches a requester after Qt's answer.
    void settle();

signals:
    // Emitted before Qt answers the request made through the window `requestor`.
    void requested(unsigned long requestor);

private:
    X11ClipboardWatch(xcb_connection_t* connection, QObject* parent);

    xcb_connection_t* m_connection;
    unsigned m_clipboard = 0;
    unsigned m_targets = 0;
    unsigned m_timestamp = 0;
    unsigned m_resourceIdMask = 0;
};
