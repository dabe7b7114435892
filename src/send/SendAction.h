#pragma once

#include "data/SearchService.h"

#include <QString>

class Settings;

// Where a double-click came from: the tree, a page list, or a query list (the query page or the
// bottom query bar).
enum class ClickSource { Tree, PageList, QueryList };

// The entry a double-click landed on, as the tree or list holds it.
struct EntryRef {
    SearchKind kind = SearchKind::Knowledge;
    qint64 id = 0;
    QString title;
    QString description;
    int flag = 0; // affairs and couriers: the web address is enabled
    QString url;  // affairs and couriers
    QString path; // tools
};

// What a double-click does; decided without touching any window or the clipboard.
struct SendAction {
    enum class Type { Nothing, SendText, SendPicture, SendFile, OpenUrl, OpenTool, OpenView };
    Type type = Type::Nothing;
    SearchKind kind = SearchKind::Knowledge;
    qint64 id = 0;
    QString text;   // SendText: the composed text
    QString target; // OpenUrl: the address; OpenTool: the path
    bool countUse = false;

    // The rules of a double-click on `entry`; `onIcon` is true when the click hit the entry's
    // icon.
    static SendAction forDoubleClick(const EntryRef& entry, bool onIcon, ClickSource source,
                                     const Settings& settings);
};
