#include "FakeDesktop.h"

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
        QTimer::singleShot(m_activationDelay, this, [this, id] { setForeground(id); });
    return true;
}

bool FakeDesktop::sendKeys(const QList<KeyStroke>& keys)
{
    for (const KeyStroke& k : keys) {
        m_keys << k;
        if (k.virtualKey == VirtualKey::Control)
            m_controlDown = k.down;
        if (k.virtualKey == VirtualKey::V && k.down && m_controlDown) {
            Paste paste;
            paste.target = m_foreground;
            if (const QMimeData* mime = QGuiApplication::clipboard()->mimeData()) {
                paste.text = mime->text();
                paste.urls = mime->urls();
                paste.image = mime->hasImage();
            }
            m_pastes << paste;
        }
    }
    return true;
}

bool FakeDesktop::registerHotKey(int id, int virtualKey, int modifierMask)
{
    const std::pair<int, int> combination{virtualKey, modifierMask};
    if (m_taken.contains(combination))
        return false;
    for (auto it = m_hotKeys.cbegin(); it != m_hotKeys.cend(); ++it) {
        if (it.key() != id && it.value() == combination)
            return false;
    }
    m_hotKeys.insert(id, combination);
    return true;
}

void FakeDesktop::unregisterHotKey(int id)
{
    m_hotKeys.remove(id);
}

QString FakeDesktop::keyName(int virtualKey)
{
    if (virtualKey >= 0x70 && virtualKey <= 0x87)
        return QStringLiteral("F%1").arg(virtualKey - 0x6F);
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

void FakeDesktop::setForeground(WindowId id)
{
    if (m_foreground == id)
        return;
    m_foreground = id;
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
    m_pastes.clear();
    m_activations.clear();
    m_openedPaths.clear();
    m_openedUrls.clear();
}
