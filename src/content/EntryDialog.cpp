#include "content/EntryDialog.h"

#include "content/ContentServices.h"
#include "content/EntryForm.h"
#include "data/Settings.h"
#include "widgets/Dialogs.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

EntryDialog::EntryDialog(const KindDescriptor& kind, ContentServices& services, Mode mode,
                         const Row& row, bool fromQueryBar, QWidget* parent)
    : FramelessDialog(parent), m_kind(kind), m_services(services), m_mode(mode),
      m_form(new EntryForm(kind, services, this))
{
    setObjectName(m_kind.windowName(mode == Mode::New ? u"New"_s : u"Edit"_s));
    setCaption(mode == Mode::New ? m_kind.newCaption() : m_kind.editCaption(fromQueryBar));
    setMinimumWidth(460);
    if (mode == Mode::Edit)
        m_form->load(row);
    bodyLayout()->addWidget(m_form);

    // Enter is typed into the description, not a press of 确定.
    const CommandRow commands = addCommandRow(u"btnConfirm"_s);
    for (QPushButton* b : {commands.ok, commands.cancel}) {
        b->setDefault(false);
        b->setAutoDefault(false);
    }
    connect(commands.ok, &QPushButton::clicked, this, &EntryDialog::confirm);
}

void EntryDialog::confirm()
{
    const bool editing = m_mode == Mode::Edit;
    const Result<qint64> r = m_services.writer().save(
        m_kind, m_form->values(), SaveContext{editing, !editing}, m_form->rowId());
    if (!r) {
        Dialogs::message(this, r.message());
        return;
    }
    m_savedId = r.value();
    emit saved(m_savedId);
    const Settings& settings = m_services.settings();
    if (!settings.flag(Setting::CloseMainNewEditPrompt))
        Dialogs::message(this, editing ? u"编辑成功!"_s : u"新增成功!"_s);
    if (editing || settings.flag(Setting::MainNewAfterFlag)) {
        accept();
        return;
    }
    m_form->clearName();
    if (QLineEdit* name = m_form->nameBox())
        name->setFocus();
}
