#pragma once

#include "users/UserAccounts.h"
#include "widgets/FramelessDialog.h"

class QTreeWidget;
class UserForm;

// frmUser: the users of the shared store (用户名, 默认, 级别), the selected one's fields to edit,
// and adding (frmAddUser) and deleting. For administrators; the last administrator can neither
// be demoted nor deleted.
class UserWindow : public FramelessDialog {
    Q_OBJECT
public:
    explicit UserWindow(UserAccounts& accounts, QWidget* parent = nullptr);

private:
    void reload(qint64 select = 0);
    void showSelected();
    std::optional<UserAccount> selected() const;
    void editSelected();
    void deleteSelected();
    void addUsers();

    UserAccounts& m_accounts;
    QTreeWidget* m_list;
    UserForm* m_form;
    QList<UserAccount> m_users;
};
