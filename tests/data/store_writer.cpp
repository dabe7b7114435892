// Adds rows to the stores of a data root, as one of several programs sharing the files.
// Usage: store_writer ROOT NAME COUNT
#include "data/Settings.h"
#include "data/Store.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    if (args.size() != 4)
        return 2;
    const QString root = args[1];
    const QString name = args[2];
    const int count = args[3].toInt();

    Settings settings(root + QStringLiteral("/config.ini"));
    Store store(root, settings);
    QTextStream err(stderr);
    if (Result<void> r = Settings::ensureFile(settings.filePath()); !r) {
        err << r.message() << Qt::endl;
        return 1;
    }
    if (Result<void> r = settings.load(); !r) {
        err << r.message() << Qt::endl;
        return 1;
    }
    if (Result<void> r = store.open(); !r) {
        err << r.message() << Qt::endl;
        return 1;
    }
    for (int i = 0; i < count; ++i) {
        const QString rowName = QStringLiteral("%1-%2").arg(name).arg(i);
        Result<void> r;
        if (i % 2 == 0) {
            r = store.insert(Table::Simple, {{QStringLiteral("name"), rowName}}).ok()
                    ? Result<void>()
                    : Error{QStringLiteral("insert failed")};
        } else {
            // A read-then-write transaction, the pattern most prone to lock upgrades.
            r = store.transaction(StoreId::Assistant, [&]() -> Result<void> {
                Result<int> before = store.count(Table::Simple);
                if (!before)
                    return before.error();
                Result<qint64> id =
                    store.insert(Table::Simple, {{QStringLiteral("name"), rowName}});
                if (!id)
                    return id.error();
                return store.addUse(Table::Simple, id.value());
            });
        }
        if (!r) {
            err << rowName << ": " << r.message() << Qt::endl;
            return 1;
        }
    }
    return 0;
}
