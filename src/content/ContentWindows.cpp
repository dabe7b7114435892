#include "content/ContentWindows.h"

#include "content/DeletePolicy.h"
#include "content/EntryDialog.h"
#include "content/EntryForm.h"
#include "content/EntryViewWindow.h"
#include "content/ManagementListWindow.h"
#include "data/Settings.h"
#include "maintenance/MaintenanceCommands.h"
#include "widgets/Dialogs.h"

#include <QMenu>

using namespace Qt::StringLiterals;

ContentWindows::ContentWindows(const Services& services, QWidget* owner)
    : QObject(owner), m_services(services), m_owner(owner),
      m_maintenance(new MaintenanceCommands(services, owner))
{}

ContentWindows::~ContentWindows()
{
    for (const QPointer<ManagementListWindow>& w : std::as_const(m_lists))
        delete w.data();
}

void ContentWindows::present(QWidget* window)
{
    if (window->isVisible()) {
        window->raise();
        window->activateWindow();
        return;
    }
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->show();
}

ManagementListWindow* ContentWindows::openManagementList(ContentKind kind)
{
    if (!mayManage(kind))
        return nullptr;
    QPointer<ManagementListWindow>& open = m_lists[static_cast<int>(kind)];
    if (!open) {
        // Top-level of its own: the panel may be hidden or rolled up while it is open.
        open = new ManagementListWindow(Kinds::descriptor(kind), m_services);
    }
    present(open);
    return open;
}

std::optional<Row> ContentWindows::loadRow(ContentKind kind, qint64 id)
{
    Result<std::optional<Row>> row = m_services.writer().load(Kinds::descriptor(kind), id);
    if (!row) {
        Dialogs::message(m_owner, row.message());
        return std::nullopt;
    }
    if (!row.value())
        Dialogs::message(m_owner, u"此记录已不存在!"_s);
    return row.value();
}

EntryDialog* ContentWindows::openNew(ContentKind kind,
                                     const QList<std::pair<QString, qint64>>& presets)
{
    if (!mayManage(kind))
        return nullptr;
    auto* dialog = new EntryDialog(Kinds::descriptor(kind), m_services, EntryDialog::Mode::New, {},
                                   false, m_owner);
    for (const auto& [column, id] : presets)
        dialog->form()->preset(column, id);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
    return dialog;
}

EntryDialog* ContentWindows::openEdit(ContentKind kind, qint64 id, bool fromQueryBar)
{
    if (!mayManage(kind))
        return nullptr;
    const std::optional<Row> row = loadRow(kind, id);
    if (!row)
        return nullptr;
    auto* dialog = new EntryDialog(Kinds::descriptor(kind), m_services, EntryDialog::Mode::Edit,
                                   *row, fromQueryBar, m_owner);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
    return dialog;
}

EntryViewWindow* ContentWindows::openView(SearchKind kind, qint64 id)
{
    const std::optional<ContentKind> content = Kinds::forSearchKind(kind);
    if (!content)
        return nullptr;
    const std::optional<Row> row = loadRow(*content, id);
    if (!row)
        return nullptr;
    auto* view = new EntryViewWindow(Kinds::descriptor(*content), m_services, *row, m_owner);
    view->setAttribute(Qt::WA_DeleteOnClose);
    view->open();
    return view;
}

bool ContentWindows::mayManage(ContentKind kind) const
{
    return m_services.user().isAdministrator ||
           Tables::store(Kinds::descriptor(kind).table) == StoreId::Personal;
}

bool ContentWindows::deleteFromMenu(ContentKind kind, qint64 id)
{
    if (!mayManage(kind))
        return false;
    const KindDescriptor& d = Kinds::descriptor(kind);
    int children = 0;
    if (d.isCategory()) {
        Result<int> count = m_services.store().childCount(d.table, id);
        if (!count) {
            Dialogs::message(m_owner, count.message());
            return false;
        }
        children = count.value();
    }
    const DeletePolicy::Plan plan =
        DeletePolicy::plan(d, m_services.settings().flag(Setting::TypeDelMode), children, true);
    if (plan.refused) {
        Dialogs::message(m_owner, plan.text);
        return false;
    }
    if (!Dialogs::confirm(m_owner, plan.text))
        return false;
    if (Result<Cascade> r = m_services.writer().remove(d, id); !r) {
        Dialogs::message(m_owner, r.message());
        return false;
    }
    return true;
}

QMenu* ContentWindows::managementMenu(QWidget* parent)
{
    auto* menu = new QMenu(parent);
    menu->setObjectName(u"mnuManage"_s);
    const QList<QList<ContentKind>> groups = {
        {ContentKind::BigCategory, ContentKind::SmallCategory, ContentKind::Knowledge},
        {ContentKind::Affair, ContentKind::Courier},
        {ContentKind::SimpleType, ContentKind::Simple, ContentKind::FileType, ContentKind::File},
        {ContentKind::ToolsType, ContentKind::Tools, ContentKind::PersonalType,
         ContentKind::Personal}};
    for (const QList<ContentKind>& group : groups) {
        if (!menu->isEmpty())
            menu->addSeparator();
        for (ContentKind kind : group) {
            const KindDescriptor& d = Kinds::descriptor(kind);
            QAction* action = menu->addAction(d.listCaption);
            action->setObjectName(u"mnuManage"_s + d.stem);
            action->setEnabled(mayManage(kind));
            connect(action, &QAction::triggered, this, [this, kind] { openManagementList(kind); });
        }
    }
    menu->addSeparator();
    m_maintenance->addCustomSort(menu, m_services.user().isAdministrator);
    m_maintenance->addStoreCommands(menu, StoreId::Assistant, m_services.user().isAdministrator);
    menu->addSeparator();
    m_maintenance->addWorkbookCommands(menu, ExchangeScope::Everything,
                                       m_services.user().isAdministrator);
    return menu;
}
