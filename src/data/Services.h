#pragma once

#include "data/CurrentUser.h"
#include "data/DataRoot.h"

class Desktop;
class SearchService;
class Settings;
class Store;

// What the windows of a running program share, all of it outliving them: the data root,
// config.ini, the stores and their search, the desktop (known here by name only) and the user
// who signed in. Windows take what they need from it.
struct Services {
    DataRoot root;
    Settings& settings;
    Store& store;
    SearchService& search;
    Desktop& desktop;
    CurrentUser user;
};
