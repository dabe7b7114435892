#pragma once

#include "content/KindDescriptor.h"
#include "widgets/FramelessDialog.h"

class ContentServices;
class EntryForm;

// The New and Edit dialogs of every kind ("frm" + stem + "New" / "Edit"), as opened from the
// panel. After an add, MainNewAfterFlag "1" closes the dialog and anything else keeps it open
// for the next row; only CloseMainNewEditPrompt "0" reports a successful save.
class EntryDialog : public FramelessDialog {
    Q_OBJECT
public:
    enum class Mode { New, Edit };

    // Edit: `row` as EntryWriter::load reads it; `fromQueryBar` gives the query bar's caption.
    EntryDialog(const KindDescriptor& kind, ContentServices& services, Mode mode,
                const Row& row = {}, bool fromQueryBar = false, QWidget* parent = nullptr);

    EntryForm* form() const { return m_form; }
    Mode mode() const { return m_mode; }
    // The row written by the last successful save; 0 before.
    qint64 savedId() const { return m_savedId; }

signals:
    void saved(qint64 id);

private:
    void confirm();

    const KindDescriptor& m_kind;
    ContentServices& m_services;
    Mode m_mode;
    EntryForm* m_form;
    qint64 m_savedId = 0;
};
