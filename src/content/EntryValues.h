#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantMap>

// The picture or file of a form: what happens to the stored bytes when the row is saved.
struct Attachment {
    enum class State {
        Keep,    // the stored bytes stay as they are (nothing stored on a new row)
        Replace, // `bytes` and `extname` are written
        Clear,   // the stored bytes are removed
    };
    State state = State::Keep;
    QByteArray bytes;
    QString extname;    // without the dot
    QString sourcePath; // where a new picture or file was read from
};

// What a form holds, by the column each field writes.
struct EntryValues {
    QVariantMap fields; // texts as typed; flags, pickers and kinds as numbers (0: none chosen)
    Attachment attachment;
    bool hasStoredAttachment = false; // editing a row that has bytes stored

    bool hasAttachment() const
    {
        return attachment.state == Attachment::State::Replace ||
               (attachment.state == Attachment::State::Keep && hasStoredAttachment);
    }
};

// Where and why a row is being saved: the messages differ between the list window's in-place
// add, the New dialog and an edit.
struct SaveContext {
    bool editing = false;
    bool inNewDialog = false;
};
