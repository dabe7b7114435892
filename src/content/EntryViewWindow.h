#pragma once

#include "content/KindDescriptor.h"
#include "widgets/FramelessDialog.h"

class ContentServices;
class EntryForm;

// The read-only View window of a kind ("frm" + stem + "View") with the kind's copy buttons;
// each puts its text (or the picture) on the clipboard and says so.
class EntryViewWindow : public FramelessDialog {
    Q_OBJECT
public:
    EntryViewWindow(const KindDescriptor& kind, ContentServices& services, const Row& row,
                    QWidget* parent = nullptr);

    EntryForm* form() const { return m_form; }

private:
    void copy(const CopyButton& button);

    const KindDescriptor& m_kind;
    ContentServices& m_services;
    Row m_row;
    EntryForm* m_form;
};
