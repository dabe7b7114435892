#include "platform/fake/FakeDesktop.h"

#include <QClipboard>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMimeData>
#include <QTimer>

WindowInfo FakeDesktop::foregroundWindow()
{
    return m_windows.value(m_foreground);
}

WindowInfo FakeDesktop::window(WindowId id)
{
    return m_windows.value(id);
}

bool FakeDesktop::activate(WindowId id)
{
    m_activations << id;
    if (!m_windows.contains(id))
        return false;
    if (m_activationDelay == 0)
        setForeground(id);
    else if (m_activationDelay > 0)
        QTimer::singleShot(m_activationDelay, this, [this, id] {
            if (m_windows.contains(id))
                setForeground(id);
        });
    return true;
}

DesktopResult FakeDesktop::sendKeys(const QList<KeyStroke>& keys)
{
    if (!m_keysFailure.isEmpty())
        return DesktopResult::failed(m_keysFailure);
    if (m_hotKeyHeld) {
        m_swallowed << keys;
        return DesktopResult::done();
    }
    for (const KeyStroke& k : keys) {
        m_keys << k;
        if (k.virtualKey == VirtualKey::Control)
            m_controlDown = k.down;
        if (k.virtualKey == VirtualKey::V && k.down && m_controlDown) {
            // Another program: it reads when it gets to the key, never inside our call.
            const WindowId target = m_foreground;
            if (m_readDelay >= 0)
                QTimer::singleShot(m_readDelay, this, [this, target] { readClipboard(target); });
        }
        if (k.virtualKey == VirtualKey::Enter && k.down)
            m_sends << Send{m_foreground, m_boxes.take(m_foreground), m_controlDown};
    }
    return DesktopResult::done();
}

QString FakeDesktop::request(quint64 client, const QString& format)
{
    if (m_reportsRequests)
        emit clipboardRequested(client);
    const QMimeData* mime = QGuiApplication::clipboard()->mimeData();
    return mime && mime->hasFormat(format) ? QString::fromUtf8(mime->data(format)) : QString();
}

void FakeDesktop::readClipboard(WindowId target)
{
    const quint64 client = m_readers.value(target, clientOf(target));
    request(client, QStringLiteral("application/x-own-rich-text"));
    Paste paste;
    paste.target = target;
    if (const QMimeData* mime = QGuiApplication::clipboard()->mimeData()) {
        if (mime->hasUrls()) {
            request(client, QStringLiteral("text/uri-list"));
            paste.urls = mime->urls();
        } else if (mime->hasImage()) {
            if (m_reportsRequests)
                emit clipboardRequested(client);
            paste.image = !mime->imageData().isNull();
        } else {
            paste.text = request(client, QStringLiteral("text/plain"));
        }
    }
    m_pastes << paste;
    m_boxes[target] += paste.text;
}

void FakeDesktop::addClipboardWatcher(quint64 client, int delayMs)
{
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, [this, client, delayMs] {
        QTimer::singleShot(delayMs, this,
                           [this, client] { request(client, QStringLiteral("text/plain")); });
    });
}

DesktopResult FakeDesktop::registerHotKey(int id, int virtualKey, int modifierMask)
{
    if (!m_hotKeyFailure.isEmpty())
        return DesktopResult::failed(m_hotKeyFailure);
    const std::pair<int, int> combination{virtualKey, modifierMask};
    if (m_taken.contains(combination))
        return DesktopResult::taken();
    for (auto it = m_hotKeys.cbegin(); it != m_hotKeys.cend(); ++it) {
        if (it.key() != id && it.value() == combination)
            return DesktopResult::taken();
    }
    m_hotKeys.insert(id, combination);
    return DesktopResult::done();
}

void FakeDesktop::unregisterHotKey(int id)
{
    m_hotKeys.remove(id);
}

void FakeDesktop::pressHotKey(int id, int holdMs)
{
    m_hotKeyHeld = holdMs > 0;
    emit hotKeyPressed(id);
    if (holdMs > 0)
        QTimer::singleShot(holdMs, this, [this] {
            m_hotKeyHeld = false;
            emit hotKeysReleased();
        });
}

QString FakeDesktop::keyName(int virtualKey)
{
    if (virtualKey >= VirtualKey::F1 && virtualKey <= VirtualKey::F24)
        return QStringLiteral("F%1").arg(virtualKey - VirtualKey::F1 + 1);
    if ((virtualKey >= 0x30 && virtualKey <= 0x39) || (virtualKey >= 0x41 && virtualKey <= 0x5A))
        return QString(QChar(virtualKey));
    return QStringLiteral("Key%1").arg(virtualKey);
}

Desktop::OpenResult FakeDesktop::openPath(const QString& path)
{
    m_openedPaths << path;
    return QFileInfo::exists(path) ? OpenResult::Opened : OpenResult::NotFound;
}

Desktop::OpenResult FakeDesktop::openUrl(const QUrl& url)
{
    m_openedUrls << url;
    return OpenResult::Opened;
}

void FakeDesktop::setUnavailable(const QString& reason)
{
    m_available = false;
    m_unavailableReason = reason;
}

void FakeDesktop::addWindow(const WindowInfo& info)
{
    m_windows.insert(info.id, info);
}

void FakeDesktop::removeWindow(WindowId id)
{
    m_windows.remove(id);
    if (m_foreground == id)
        setForeground(0);
}

void FakeDesktop::setForeground(WindowId id)
{
    if (m_foreground == id)
        return;
    m_foreground = id;
    if (m_reportDelay > 0)
        QTimer::singleShot(m_reportDelay, this, [this, id] { emit foregroundChanged(id); });
    else
        emit foregroundChanged(id);
}

void FakeDesktop::moveWindow(WindowId id, const QRect& frame)
{
    if (!m_windows.contains(id))
        return;
    m_windows[id].frame = frame;
    emit windowMoved(id, frame);
}

void FakeDesktop::takeHotKey(int virtualKey, int modifierMask)
{
    m_taken.append({virtualKey, modifierMask});
}

void FakeDesktop::clearRecords()
{
    m_keys.clear();
    m_swallowed.clear();
    m_pastes.clear();
    m_sends.clear();
    m_boxes.clear();
    m_activations.clear();
    m_openedPaths.clear();
    m_openedUrls.clear();
}
