#pragma once

#include <QString>

// Who is working with the program in this session.
struct CurrentUser {
    QString name;
    bool isAdministrator = false;
    friend bool operator==(const CurrentUser&, const CurrentUser&) = default;
};
