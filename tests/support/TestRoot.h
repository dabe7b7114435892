#pragma once

#include "data/PinyinTable.h"
#include "data/Settings.h"
#include "data/Store.h"

#include <QTemporaryDir>
#include <QTest>
#include <memory>

// A data root in a temporary folder with a default config.ini and both stores opened.
struct TestRoot {
    QTemporaryDir dir;
    std::unique_ptr<Settings> settings;
    std::unique_ptr<Store> store;
    PinyinTable pinyin;

    explicit TestRoot(bool open = true)
    {
        QVERIFY(dir.isValid());
        QVERIFY(Settings::ensureFile(configPath()).ok());
        settings = std::make_unique<Settings>(configPath());
        QVERIFY(settings->load().ok());
        if (open)
            openStore();
    }

    QString configPath() const { return dir.filePath(QStringLiteral("config.ini")); }
    QString path(const QString& name) const { return dir.filePath(name); }

    void openStore()
    {
        store = std::make_unique<Store>(dir.path(), *settings);
#ifdef QUILLMATE_PYLIB
        QVERIFY(pinyin.loadLibFile(QStringLiteral(QUILLMATE_PYLIB)).ok());
#endif
        store->setPinyin(&pinyin);
        store->setCurrentUser(QStringLiteral("tester"));
        const Result<void> r = store->open();
        QVERIFY2(r.ok(), qPrintable(r.message()));
    }

    // Inserts and fails the test when the store refuses.
    qint64 add(Table table, const Row& row)
    {
        const Result<qint64> r = store->insert(table, row);
        if (!r.ok())
            qFatal("insert into %s failed: %s", qPrintable(Tables::name(table)),
                   qPrintable(r.message()));
        return r.value();
    }
};
