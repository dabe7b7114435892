#include "users/UserWindow.h"

#include "users/AddUserWindow.h"
#include "users/UserForm.h"
#include "widgets/Dialogs.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

QPushButton* button(const char* name, const QString& text, QWidget* parent)
{
    auto* b = new QPushButton(text, parent);
    b->setObjectName(QLatin1String(name));
    b->setMinimumWidth(70);
    return b;
}

} // namespace

UserWindow::UserWindow(UserAccounts& accounts, QWidget* parent)
    : FramelessDialog(parent), m_accounts(accounts), m_list(new QTreeWidget(this)),
      m_form(new UserForm(this))
{
    setObjectName(QStringLiteral("frmUser"));
    setCaption(QStringLiteral("用户管理"));
    resize(460, 420);
    m_list->setObjectName(QStringLiteral("lvUser"));
    m_list->setHeaderLabels(
        {QStringLiteral("用户名"), QStringLiteral("默认"), QStringLiteral("级别")});
    m_list->setRootIsDecorated(false);
    m_list->header()->setStretchLastSection(true);
    m_form->setNameFixed(true);
    bodyLayout()->addWidget(m_list, 1);
    bodyLayout()->addWidget(m_form);

    auto* add = button("btnAdd", QStringLiteral("添加"), this);
    auto* edit = button("btnEdit", QStringLiteral("编辑"), this);
    auto* del = button("btnDel", QStringLiteral("删除"), this);
    auto* close = button("btnClose", QStringLiteral("关闭"), this);
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    for (QPushButton* b : {add, edit, del, close})
        row->addWidget(b);
    bodyLayout()->addLayout(row);
    connect(add, &QPushButton::clicked, this, &UserWindow::addUsers);
    connect(edit, &QPushButton::clicked, this, &UserWindow::editSelected);
    connect(del, &QPushButton::clicked, this, &UserWindow::deleteSelected);
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_list, &QTreeWidget::currentItemChanged, this, &UserWindow::showSelected);
    reload();
}

void UserWindow::reload(qint64 select)
{
    const Result<QList<UserAccount>> all = m_accounts.users();
    if (!all) {
        Dialogs::message(this, all.message());
        return;
    }
    m_users = all.value();
    m_list->clear();
    for (const UserAccount& a : std::as_const(m_users)) {
        auto* item = new QTreeWidgetItem(
            m_list, {a.name, a.isDefault ? QStringLiteral("是") : QString(), a.gradeName()});
        item->setData(0, Qt::UserRole, a.id);
        if (a.id == select)
            m_list->setCurrentItem(item);
    }
    if (!m_list->currentItem())
        m_form->clear();
}

std::optional<UserAccount> UserWindow::selected() const
{
    const QTreeWidgetItem* item = m_list->currentItem();
    if (!item)
        return std::nullopt;
    const qint64 id = item->data(0, Qt::UserRole).toLongLong();
    for (const UserAccount& a : m_users) {
        if (a.id == id)
            return a;
    }
    return std::nullopt;
}

void UserWindow::showSelected()
{
    if (const std::optional<UserAccount> a = selected())
        m_form->show(*a);
}

void UserWindow::editSelected()
{
    const std::optional<UserAccount> a = selected();
    if (!a) {
        Dialogs::message(this, QStringLiteral("请选择要编辑的用户名!"));
        return;
    }
    const Result<void> edited = m_accounts.edit(a->id, m_form->change());
    if (!edited) {
        Dialogs::message(this, edited.message());
        return;
    }
    reload(a->id);
    Dialogs::message(this, QStringLiteral("编辑成功!"));
}

void UserWindow::deleteSelected()
{
    const std::optional<UserAccount> a = selected();
    if (!a) {
        Dialogs::message(this, QStringLiteral("请选择要删除的用户!"));
        return;
    }
    // Refused before asking, as the store would refuse after.
    const Result<bool> last = m_accounts.isLastAdministrator(a->id);
    if (last && last.value()) {
        Dialogs::message(this, QStringLiteral("系统管理员不能全部删除，\r\n"
                                              "至少要保留一个系统管理员否则无法管理软件！"));
        return;
    }
    if (!Dialogs::askYesNo(this,
                           QStringLiteral("您确认要删除用户") + a->name + QStringLiteral("吗？")))
        return;
    if (const Result<void> removed = m_accounts.remove(a->id); !removed)
        Dialogs::message(this, removed.message());
    reload();
}

void UserWindow::addUsers()
{
    AddUserWindow window(m_accounts, this);
    connect(&window, &AddUserWindow::added, this, [this](qint64 id) { reload(id); });
    window.exec();
}
