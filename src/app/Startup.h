#pragma once

#include "data/DataRoot.h"
#include "data/PinyinTable.h"
#include "data/Result.h"
#include "data/Settings.h"
#include "data/Store.h"

#include <QStringList>
#include <memory>

// The steps before any window: the config file (written with its defaults when missing), the
// settings, the two stores (created with their schema when missing) and the pinyin table.
class Startup {
public:
    explicit Startup(DataRoot root);
    ~Startup();

    // How a password the shared store's server wants is asked for; commands have none.
    void setPasswordPrompt(Store::PasswordPrompt prompt) { m_passwordPrompt = std::move(prompt); }
    Result<void> run();

    const DataRoot& root() const { return m_root; }
    Settings& settings() { return *m_settings; }
    Store& store() { return *m_store; }
    const PinyinTable& pinyin() const { return m_pinyin; }
    // Problems that do not stop the program (the pinyin table could not be read, say).
    QStringList warnings() const { return m_warnings; }
    // Whether the pinyin table is in the program folder and read: without it names get no
    // initials, which `init` must not report as a prepared folder.
    bool hasPinyin() const { return m_hasPinyin; }

private:
    DataRoot m_root;
    std::unique_ptr<Settings> m_settings;
    std::unique_ptr<Store> m_store;
    PinyinTable m_pinyin;
    QStringList m_warnings;
    Store::PasswordPrompt m_passwordPrompt;
    bool m_hasPinyin = false;
};
