#include "send/PasteSequence.h"

#include "send/ClipboardContent.h"

#include <QClipboard>
#include <QGuiApplication>

PasteSequence::PasteSequence(Desktop& desktop, QObject* parent)
    : QObject(parent), m_desktop(desktop)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &PasteSequence::poll);
    m_grace.setSingleShot(true);
    connect(&m_grace, &QTimer::timeout, this, &PasteSequence::pressSendKey);
    connect(&m_desktop, &Desktop::hotKeysReleased, this, [this] {
        if (m_step == Step::Release)
            poll();
    });
    connect(&m_desktop, &Desktop::clipboardRequested, this, &PasteSequence::onRequested);
}

PasteSequence::~PasteSequence() = default;

QList<KeyStroke> PasteSequence::pasteKeys()
{
    return {{VirtualKey::Control, true},
            {VirtualKey::V, true},
            {VirtualKey::V, false},
            {VirtualKey::Control, false}};
}

QList<KeyStroke> PasteSequence::sendKeys(SendKey key)
{
    switch (key) {
    case SendKey::Enter:
        return {{VirtualKey::Enter, true}, {VirtualKey::Enter, false}};
    case SendKey::CtrlEnter:
        // Ctrl is released before Enter, as chat clients have always received it.
        return {{VirtualKey::Control, true},
                {VirtualKey::Enter, true},
                {VirtualKey::Control, false},
                {VirtualKey::Enter, false}};
    case SendKey::None:
        break;
    }
    return {};
}

void PasteSequence::start(ClipboardContent* content, WindowId target, SendKey sendKey)
{
    Request request{std::unique_ptr<ClipboardContent>(content), target, sendKey};
    // Ctrl+V is out and the target is fetching the clipboard: changing it now would paste the
    // new content in place of the old.
    if (m_step == Step::Read) {
        m_next = std::make_unique<Request>(std::move(request));
        return;
    }
    abort();
    begin(std::move(request));
}

void PasteSequence::abort()
{
    m_timer.stop();
    m_grace.stop();
    m_step = Step::Idle;
    m_next.reset();
}

void PasteSequence::begin(Request request)
{
    m_content = request.content.get();
    m_content->setObserver([this](qint64 bytes) { onRendered(bytes); });
    m_target = request.target;
    m_sendKey = request.sendKey;
    m_activationAsked = false;
    m_pasted = 0;
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setMimeData(request.content.release());
    enter(Step::Clipboard);
    poll();
}

void PasteSequence::enter(Step step)
{
    m_step = step;
    m_elapsed.start();
}

void PasteSequence::finish(bool ok, const QString& problem)
{
    m_timer.stop();
    m_grace.stop();
    m_step = Step::Idle;
    emit finished(ok, problem);
    if (m_next)
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (m_next && m_step == Step::Idle) {
                    const std::unique_ptr<Request> next = std::move(m_next);
                    begin(std::move(*next));
                }
            },
            Qt::QueuedConnection);
}

void PasteSequence::poll()
{
    if (m_step == Step::Clipboard) {
        const QClipboard* clipboard = QGuiApplication::clipboard();
        const bool ours =
            m_content && (clipboard->ownsClipboard() || clipboard->mimeData() == m_content);
        if (!ours) {
            if (m_elapsed.elapsed() >= m_limits.clipboardMs)
                return finish(false, QStringLiteral("剪贴板被其他程序占用，内容没有粘贴。"));
            m_timer.start(m_limits.pollMs);
            return;
        }
        enter(Step::Activation);
    }
    if (m_step == Step::Activation) {
        const WindowId front = m_desktop.foregroundWindow().id;
        if (m_target != 0 && front != m_target) {
            // Asked again when another window came to the front after the last request.
            if (!m_activationAsked || front != m_askedOver) {
                m_activationAsked = true;
                m_askedOver = front;
                if (!m_desktop.activate(m_target))
                    return finish(false, QStringLiteral("无法切换到聊天窗口，内容没有粘贴。"));
            }
            if (m_elapsed.elapsed() >= m_limits.activationMs)
                return finish(false, QStringLiteral("聊天窗口没有回到前台，内容没有粘贴。"));
            m_timer.start(m_limits.pollMs);
            return;
        }
        enter(Step::Release);
    }
    if (m_step == Step::Release) {
        // Keys sent while the agent still holds Ctrl, Alt or Shift would combine with them.
        if (m_desktop.heldModifiers() != 0 || m_desktop.hotKeyHeld()) {
            if (m_elapsed.elapsed() >= m_limits.releaseMs)
                return finish(false, QStringLiteral("按键一直被按住，内容没有粘贴。"));
            m_timer.start(m_limits.pollMs);
            return;
        }
        // The agent may have gone to another window meanwhile: it is brought back first.
        if (m_target != 0 && m_desktop.foregroundWindow().id != m_target) {
            enter(Step::Activation);
            return poll();
        }
        return paste();
    }
    if (m_step == Step::Read) {
        // Only reached when the wait ran out.
        if (!m_desktop.reportsClipboardRequests())
            return pressSendKey();
        finish(false, QStringLiteral("聊天窗口在 %1 秒内没有取走粘贴的内容，没有按发送键。")
                          .arg(m_limits.readMs / 1000.0));
    }
}

void PasteSequence::paste()
{
    const WindowInfo front = m_desktop.foregroundWindow();
    m_pasted = front.id;
    m_pastedClient = m_desktop.clientOf(front.id);
    // Waiting for the read starts before the keys go out: a program may fetch at once. Without
    // a send key the wait still matters: the next paste must not replace the clipboard before
    // this one has been taken.
    enter(Step::Read);
    m_timer.start(m_desktop.reportsClipboardRequests() ? m_limits.readMs : m_limits.unprovenReadMs);
    if (const DesktopResult r = m_desktop.sendKeys(pasteKeys()); !r.ok())
        finish(false, QStringLiteral("内容没有粘贴：") + r.reason());
}

void PasteSequence::onRequested(quint64 client)
{
    // The answer follows at once, within this turn of the event loop.
    m_requester = client;
    QMetaObject::invokeMethod(
        this, [this] { m_requester.reset(); }, Qt::QueuedConnection);
}

void PasteSequence::onRendered(qint64 bytes)
{
    if (!m_requester)
        return;
    const quint64 client = *std::exchange(m_requester, std::nullopt);
    // The data is being handed over now; what follows it must wait until it is out.
    QMetaObject::invokeMethod(
        this, [this, client, bytes] { onRead(client, bytes); }, Qt::QueuedConnection);
}

void PasteSequence::onRead(quint64 client, qint64 bytes)
{
    switch (m_step) {
    case Step::Clipboard:
    case Step::Activation:
    case Step::Release:
        // Fetched before any Ctrl+V: a program that takes every new content (a clipboard
        // manager), whose reads never prove that the target has the text.
        m_watchers.insert(client);
        return;
    case Step::Read: {
        const bool target = client == m_pastedClient;
        if (!target && m_watchers.contains(client))
            return;
        const bool large = bytes >= m_limits.largeBytes;
        if (target && !large)
            return pressSendKey();
        const int wait =
            m_limits.unprovenReadMs +
            (large ? static_cast<int>(bytes * m_limits.perMegabyteMs / (1024 * 1024)) : 0);
        // A helper's read does not delay a send key the target's own read already scheduled.
        if (target || !m_grace.isActive())
            m_grace.start(wait);
        return;
    }
    case Step::Idle:
        return;
    }
}

void PasteSequence::pressSendKey()
{
    if (m_step != Step::Read)
        return;
    const QList<KeyStroke> keys = sendKeys(m_sendKey);
    if (keys.isEmpty())
        return finish(true);
    // Never to another window than the one that has the text.
    if (m_desktop.foregroundWindow().id != m_pasted)
        return finish(false, QStringLiteral("聊天窗口已不在前台，没有按发送键。"));
    if (const DesktopResult r = m_desktop.sendKeys(keys); !r.ok())
        return finish(false, QStringLiteral("没有按发送键：") + r.reason());
    finish(true);
}
