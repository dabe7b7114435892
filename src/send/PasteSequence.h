#pragma once

#include "Desktop.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>

class QMimeData;

// The paste, as a sequence of steps that never blocks the event loop (the chat client reads our
// clipboard through it): our data is on the clipboard, the remembered window is in front, the
// agent has let go of the modifier keys, then Ctrl+V and the optional send key. Every wait is
// bounded; a step that fails ends the sequence and nothing after it is sent.
class PasteSequence : public QObject {
    Q_OBJECT
public:
    enum class SendKey { None, Enter, CtrlEnter };

    struct Limits {
        int clipboardMs = 1000;
        int activationMs = 2000;
        int modifiersMs = 10000;
        int pollMs = 10;
    };

    explicit PasteSequence(Desktop& desktop, QObject* parent = nullptr);

    void setLimits(const Limits& limits) { m_limits = limits; }
    bool isRunning() const { return m_step != Step::Idle; }

    // Starts a paste of what `mime` put on the clipboard (the caller has set it). `target` 0:
    // paste into whatever window is in front. A running paste is abandoned.
    void start(const QMimeData* mime, WindowId target, SendKey sendKey);
    void abort();

    static QList<KeyStroke> pasteKeys();
    static QList<KeyStroke> sendKeys(SendKey key);

signals:
    void finished(bool ok, const QString& problem);

private:
    enum class Step { Idle, Clipboard, Activation, Modifiers };

    void poll();
    void enter(Step step);
    void fail(const QString& problem);
    void paste();

    Desktop& m_desktop;
    Limits m_limits;
    QTimer m_timer;
    QElapsedTimer m_elapsed;
    Step m_step = Step::Idle;
    QPointer<const QMimeData> m_mime;
    WindowId m_target = 0;
    SendKey m_sendKey = SendKey::None;
    bool m_activationAsked = false;
};
