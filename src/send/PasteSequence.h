#pragma once

#include "platform/Desktop.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QTimer>
#include <memory>
#include <optional>

class ClipboardContent;

// The paste, as a sequence of steps that never blocks the event loop (the chat program reads our
// clipboard through it):
//   1. our data is on the clipboard;
//   2. the target window is in front;
//   3. the agent has let go of the modifier keys and of the hot key (while a hot key is held,
//      X11 hands every key to us, not to the window in front);
//   4. Ctrl+V;
//   5. the target has taken our data; then the send key, if any. Chat programs fetch the
//      clipboard asynchronously after seeing Ctrl+V; a send key that follows at once is handled
//      first, on an empty box. A read is a request by another program that got our data
//      rendered (programs try formats we do not offer first). Only a read by the target's own
//      program is proof; a program that fetches every new content (a clipboard manager) also
//      reads, at any moment.
// Every wait is bounded; a step that fails ends the sequence and nothing after it is sent, and
// the send key goes only to the window that was pasted into.
class PasteSequence : public QObject {
    Q_OBJECT
public:
    enum class SendKey { None, Enter, CtrlEnter };

    struct Limits {
        int clipboardMs = 1000;
        int activationMs = 2000;
        int releaseMs = 10000;
        int readMs = 2000;
        // The pause between Ctrl+V and the send key where the desktop does not report requests,
        // and after a read by another program than the target's (which may fetch through a
        // helper).
        int unprovenReadMs = 150;
        // Data this large is handed over in pieces after the read: the send key waits this much
        // longer per megabyte.
        qint64 largeBytes = 256 * 1024;
        int perMegabyteMs = 100;
        int pollMs = 10;
    };

    explicit PasteSequence(Desktop& desktop, QObject* parent = nullptr);
    ~PasteSequence() override;

    void setLimits(const Limits& limits) { m_limits = limits; }
    bool isRunning() const { return m_step != Step::Idle; }

    // Puts `content` on the clipboard (which takes it) and pastes it into `target` (0: the window
    // in front). A paste still waiting before its Ctrl+V is abandoned for the new one; a paste
    // whose data is being fetched finishes first, and the new one follows.
    void start(ClipboardContent* content, WindowId target, SendKey sendKey);
    void abort();

    static QList<KeyStroke> pasteKeys();
    static QList<KeyStroke> sendKeys(SendKey key);

signals:
    void finished(bool ok, const QString& problem);

private:
    enum class Step { Idle, Clipboard, Activation, Release, Read };
    struct Request {
        std::unique_ptr<ClipboardContent> content;
        WindowId target = 0;
        SendKey sendKey = SendKey::None;
    };

    void begin(Request request);
    void poll();
    void enter(Step step);
    void finish(bool ok, const QString& problem = {});
    void paste();
    void pressSendKey();
    void onRequested(quint64 client);
    void onRendered(qint64 bytes);
    void onRead(quint64 client, qint64 bytes);

    Desktop& m_desktop;
    Limits m_limits;
    QTimer m_timer;
    QTimer m_grace; // a read by another program: the send key follows unless the target reads
    QElapsedTimer m_elapsed;
    Step m_step = Step::Idle;
    QPointer<ClipboardContent> m_content;
    std::optional<quint64> m_requester; // asked just now; a rendering is for it
    WindowId m_target = 0;
    SendKey m_sendKey = SendKey::None;
    bool m_activationAsked = false;
    WindowId m_askedOver = 0;   // the window in front when activation was last asked for
    WindowId m_pasted = 0;      // the window Ctrl+V went to
    quint64 m_pastedClient = 0; // its program
    QSet<quint64> m_watchers;   // programs that fetch every new clipboard content
    std::unique_ptr<Request> m_next;
};
