#pragma once

#include "ContentCache.h"
#include "PasteSequence.h"
#include "SendAction.h"

#include <QObject>

class InputWindowTracker;
class Settings;
class Store;

// Carries out what a double-click, a search result or a hot key decided: puts text, a picture or
// a file on the clipboard and pastes it into the remembered window, opens links and tools, asks
// for view windows, and counts uses.
class Sender : public QObject {
    Q_OBJECT
public:
    Sender(Store& store, const Settings& settings, Desktop& desktop, InputWindowTracker& input,
           const QString& rootFolder, QObject* parent = nullptr);

    // Automatic pasting is off where the desktop gives no access (the clipboard is still set).
    void setPastingEnabled(bool enabled) { m_pasting = enabled; }

    void perform(const SendAction& action);

    void sendText(const QString& text);
    // For hot keys: the agent is typing in the window in front, so the paste goes there and
    // any remembered window is forgotten.
    void sendTextToForeground(const QString& text);
    // Knowledge ("W"/"K"/"C") or private ("P") pictures; png always goes as a file. With
    // `paste` false the picture or file is only put on the clipboard.
    void sendPicture(SearchKind kind, qint64 id, bool asFile, bool paste = true);
    void sendFile(qint64 id, bool paste = true);

    // Counts one use of the entry (its table's usetime).
    void recordUse(SearchKind kind, qint64 id);

    PasteSequence& paste() { return m_paste; }

signals:
    // The one way to open an entry's view window.
    void viewRequested(SearchKind kind, qint64 id);
    // Something the user must be told, through the message window.
    void message(const QString& text);
    // A paste ended: pasted, or stopped at a step (with the reason).
    void pasteFinished(bool ok, const QString& problem);

private:
    void pasteClipboard(QMimeData* mime, bool paste = true, bool toForeground = false);
    void countUse(const SendAction& action);
    PasteSequence::SendKey configuredSendKey() const;

    Store& m_store;
    const Settings& m_settings;
    Desktop& m_desktop;
    InputWindowTracker& m_input;
    ContentCache m_cache;
    PasteSequence m_paste;
    bool m_pasting = true;
};
