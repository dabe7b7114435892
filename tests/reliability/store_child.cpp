// One seat, for the tests that kill it, starve it of disk or start several at once. The data
// root's config.ini must exist.
// Usage: store_child ROOT open               opens both stores, as a start does
//        store_child ROOT fill ROWS BYTES    then adds ROWS knowledge entries, each with a
//                                            picture of BYTES bytes, in one transaction
//        store_child ROOT write NAME COUNT   then adds COUNT phrases named NAME-n, every other
//                                            one in a read-then-write transaction (the pattern
//                                            most prone to lock upgrades) that counts a use too
// With QM_START_AT (milliseconds since the epoch) it waits until then before opening, so that
// seats started one after another open together.
#include "data/Settings.h"
#include "data/Store.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QTextStream>
#include <QThread>

namespace {

Result<void> fill(Store& store, int rows, const QByteArray& picture)
{
    const QString prefix = QStringLiteral("fill-%1-").arg(QCoreApplication::applicationPid());
    return store.transaction(StoreId::Assistant, [&]() -> Result<void> {
        for (int i = 0; i < rows; ++i) {
            const Result<qint64> id = store.insert(
                Table::Knowledge, {{QStringLiteral("name"), prefix + QString::number(i)},
                                   {QStringLiteral("pic"), picture}});
            if (!id)
                return id.error();
        }
        return {};
    });
}

Result<void> write(Store& store, const QString& name, int count)
{
    for (int i = 0; i < count; ++i) {
        const Row row = {{QStringLiteral("name"), QStringLiteral("%1-%2").arg(name).arg(i)}};
        Result<void> r;
        if (i % 2 == 0) {
            if (const Result<qint64> id = store.insert(Table::Simple, row); !id)
                r = id.error();
        } else {
            r = store.transaction(StoreId::Assistant, [&]() -> Result<void> {
                if (const Result<int> before = store.count(Table::Simple); !before)
                    return before.error();
                const Result<qint64> id = store.insert(Table::Simple, row);
                return id ? store.addUse(Table::Simple, id.value()) : Result<void>(id.error());
            });
        }
        if (!r)
            return r;
    }
    return {};
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    const QString mode = args.value(2);
    if (args.size() != (mode == QLatin1String("open") ? 3 : 5) ||
        (mode != QLatin1String("open") && mode != QLatin1String("fill") &&
         mode != QLatin1String("write")))
        return 2;

    const qint64 startAt = qEnvironmentVariable("QM_START_AT").toLongLong();
    while (QDateTime::currentMSecsSinceEpoch() < startAt)
        QThread::usleep(200);

    Settings settings(args[1] + QStringLiteral("/config.ini"));
    Store store(args[1], settings);
    Result<void> r = settings.load();
    if (r)
        r = store.open();
    if (r && mode == QLatin1String("fill"))
        r = fill(store, args[3].toInt(), QByteArray(args[4].toInt(), 'p'));
    if (r && mode == QLatin1String("write"))
        r = write(store, args[3], args[4].toInt());
    if (!r)
        QTextStream(stderr) << r.message() << Qt::endl;
    return r ? 0 : 1;
}
