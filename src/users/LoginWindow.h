#pragma once

#include "data/CurrentUser.h"
#include "widgets/FramelessDialog.h"

#include <optional>

class QComboBox;
class QLineEdit;
class Store;
class UserAccounts;

// Asks who is working: a user name from the list and the password. A wrong password keeps the
// window open; OK with the right one accepts, Cancel rejects (the program then ends).
class LoginWindow : public FramelessDialog {
    Q_OBJECT
public:
    explicit LoginWindow(UserAccounts& accounts, QWidget* parent = nullptr);

    // The user who logged in; nothing until OK succeeded.
    std::optional<CurrentUser> user() const { return m_user; }

    // The session's user: the default user at once when no login is needed, else whoever logs
    // in here. The store then writes rows in that user's name. Nothing when the user cancels
    // or the accounts cannot be read (the reason has been shown).
    static std::optional<CurrentUser> establish(Store& store, QWidget* parent = nullptr);

private:
    void tryLogin();

    UserAccounts& m_accounts;
    QComboBox* m_users;
    QLineEdit* m_password;
    std::optional<CurrentUser> m_user;
};
