#pragma once

#include "send/ContentCache.h"
#include "send/InputWindow.h"
#include "send/PasteSequence.h"
#include "send/SendAction.h"

#include <QObject>
#include <optional>

class Settings;
class Store;

// Carries out what a double-click, a search result or a hot key decided: puts text, a picture or
// a file on the clipboard and pastes it into the window InputWindow names for the gesture, opens
// links and tools, asks for view windows, and counts uses.
class Sender : public QObject {
    Q_OBJECT
public:
    Sender(Store& store, const Settings& settings, Desktop& desktop, InputWindow& input,
           const QString& rootFolder, QObject* parent = nullptr);

    // Automatic pasting is off where the desktop gives no access (the clipboard is still set).
    void setPastingEnabled(bool enabled) { m_pasting = enabled; }

    void perform(const SendAction& action, PasteOrigin origin = PasteOrigin::Panel);

    void sendText(const QString& text, PasteOrigin origin = PasteOrigin::Panel);
    // Knowledge ("W"/"K"/"C") or private ("P") pictures; png always goes as a file.
    void sendPicture(SearchKind kind, qint64 id, bool asFile,
                     PasteOrigin origin = PasteOrigin::Panel);
    void sendFile(qint64 id, PasteOrigin origin = PasteOrigin::Panel);
    // Onto the clipboard only, for the agent to paste.
    void copyPicture(SearchKind kind, qint64 id);
    void copyFile(qint64 id);

    // Counts one use of the entry (its table's usetime).
    void recordUse(SearchKind kind, qint64 id);

    PasteSequence& paste() { return m_paste; }

signals:
    // The one way to open an entry's view window.
    void viewRequested(SearchKind kind, qint64 id);
    // Something the user must be told, through the message window; a paste that stopped short
    // is one of them.
    void message(const QString& text);
    // A paste ended: pasted, or stopped at a step (with the reason).
    void pasteFinished(bool ok, const QString& problem);

private:
    // Nothing for `origin`: the clipboard only.
    void deliver(ClipboardContent* mime, std::optional<PasteOrigin> origin);
    ClipboardContent* pictureMime(SearchKind kind, qint64 id, bool asFile);
    ClipboardContent* fileMime(qint64 id);
    void countUse(const SendAction& action);
    PasteSequence::SendKey configuredSendKey() const;

    Store& m_store;
    const Settings& m_settings;
    Desktop& m_desktop;
    InputWindow& m_input;
    ContentCache m_cache;
    PasteSequence m_paste;
    bool m_pasting = true;
};
