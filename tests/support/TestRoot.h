#pragma once

#include "data/PinyinTable.h"
#include "data/Services.h"
#include "data/Settings.h"
#include "data/Store.h"
#ifndef Q_OS_WIN
#include "support/PgServer.h"
#endif

#include <QTemporaryDir>
#include <QTest>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>

// A data root in a temporary folder with a default config.ini and both stores opened. A step
// that fails is reported as a failure of the running test and clears ok(); the members stay
// usable, so a test that stops at QVERIFY(root.ok()) ends cleanly instead of crashing.
struct TestRoot {
    QTemporaryDir dir;
    std::unique_ptr<Settings> settings = std::make_unique<Settings>(configPath());
    std::unique_ptr<Store> store;
    PinyinTable pinyin;

    explicit TestRoot(bool open = true)
    {
        if (check(dir.isValid(), "the temporary folder", dir.errorString()) &&
            check(Settings::ensureFile(configPath()), "config.ini"))
            check(settings->load(), "loading config.ini");
        if (onServer())
            useNewServerDatabase();
        if (open)
            openStore();
    }

    // Whether this run keeps the shared store on a PostgreSQL server (QUILLMATE_TEST_STORE=server)
    // rather than in assistant.dll, so that one suite checks both engines.
    static bool onServer() { return qEnvironmentVariable("QUILLMATE_TEST_STORE") == "server"; }

    // Exit code of a server run that cannot have its server: CTest counts it as skipped.
    static constexpr int NoServer = 77;

    // Points DatabasePath at a new, empty database of the run's server. Without a server the
    // whole run is skipped, saying why.
    void useNewServerDatabase()
    {
#ifdef Q_OS_WIN
        skipRun(QStringLiteral("no PostgreSQL for Windows test runs"));
#else
        static PgServer server;
        static int made = 0;
        if (!server.isRunning())
            skipRun(server.whyNot());
        const QString name = QStringLiteral("root%1").arg(++made);
        if (const QString error = server.createDatabase(name);
            check(error.isEmpty(), "a database", error))
            set({{Setting::DatabasePath, server.url(name)}});
#endif
    }

    // False once any step of the set-up, or any add(), has failed.
    bool ok() const
    {
        return m_ok;
    }

    QString configPath() const
    {
        return dir.filePath(QStringLiteral("config.ini"));
    }
    QString path(const QString& name) const
    {
        return dir.filePath(name);
    }

    void openStore()
    {
        store = std::make_unique<Store>(dir.path(), *settings);
#ifdef QUILLMATE_PYLIB
        check(pinyin.loadLibFile(QStringLiteral(QUILLMATE_PYLIB)), "the pinyin table");
#endif
        store->setPinyin(&pinyin);
        store->setCurrentUser(QStringLiteral("tester"));
        if (m_ok)
            check(store->open(), "opening the stores");
    }

    // Writes settings to config.ini, as the agent's earlier sessions left them.
    void set(const QList<std::pair<Setting, QString>>& values)
    {
        for (const auto& [setting, value] : values)
            check(settings->setValue(setting, value), "setting " + SettingsTable::key(setting));
    }

    // What the windows of a program running on this root share.
    Services services(SearchService& search, Desktop& desktop,
                      CurrentUser user = {QStringLiteral("tester"), true}) const
    {
        return {DataRoot(dir.path()), *settings, *store, search, desktop, std::move(user)};
    }

    // The new row's id, or 0 with the test failed when the store refuses the row.
    qint64 add(Table table, const Row& row)
    {
        const Result<qint64> r = store->insert(table, row);
        return check(r, "insert into " + Tables::name(table)) ? r.value() : 0;
    }

    // `count` rows made by `row(i)`, added in one transaction as an import adds them: their ids.
    QList<qint64> addRows(Table table, int count, const std::function<Row(int)>& row)
    {
        QList<qint64> ids;
        check(store->transaction(Tables::store(table),
                                 [&]() -> Result<void> {
                                     for (int i = 0; i < count; ++i)
                                         ids << add(table, row(i));
                                     return {};
                                 }),
              "adding rows to " + Tables::name(table));
        return ids;
    }

private:
    [[noreturn]] static void skipRun(const QString& why)
    {
        std::fprintf(stderr, "SKIP: no PostgreSQL server for this run: %s\n", qPrintable(why));
        std::exit(NoServer);
    }

    template <class R> bool check(const R& result, const QString& step)
    {
        return check(result.ok(), step, result.message());
    }

    bool check(bool good, const QString& step, const QString& why)
    {
        if (!good) {
            m_ok = false;
            QTest::qFail(qPrintable(QStringLiteral("test root: %1 failed: %2").arg(step, why)),
                         __FILE__, __LINE__);
        }
        return good;
    }

    bool m_ok = true;
};
