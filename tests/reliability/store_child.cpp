// One seat, for the tests that kill it, starve it of disk or start several at once. The data
// root's config.ini must exist.
// Usage: store_child ROOT open               opens both stores, as a start does
//        store_child ROOT fill ROWS BYTES    then adds ROWS knowledge entries, each with a
//                                            picture of BYTES bytes, in one transaction
// With QM_START_AT (milliseconds since the epoch) it waits until then before opening, so that
// seats started one after another open together.
#include "data/Settings.h"
#include "data/Store.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QTextStream>
#include <QThread>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    const bool fill = args.size() == 5 && args[2] == QLatin1String("fill");
    if (!fill && (args.size() != 3 || args[2] != QLatin1String("open")))
        return 2;

    const qint64 startAt = qEnvironmentVariable("QM_START_AT").toLongLong();
    while (QDateTime::currentMSecsSinceEpoch() < startAt)
        QThread::usleep(200);

    QTextStream err(stderr);
    Settings settings(args[1] + QStringLiteral("/config.ini"));
    if (Result<void> r = settings.load(); !r) {
        err << r.message() << Qt::endl;
        return 1;
    }
    Store store(args[1], settings);
    if (Result<void> r = store.open(); !r) {
        err << r.message() << Qt::endl;
        return 1;
    }
    if (!fill)
        return 0;

    const int rows = args[3].toInt();
    const QByteArray picture(args[4].toInt(), 'p');
    const QString prefix = QStringLiteral("fill-%1-").arg(QCoreApplication::applicationPid());
    const Result<void> r = store.transaction(StoreId::Assistant, [&]() -> Result<void> {
        for (int i = 0; i < rows; ++i) {
            const Result<qint64> id = store.insert(
                Table::Knowledge, {{QStringLiteral("name"), prefix + QString::number(i)},
                                   {QStringLiteral("pic"), picture}});
            if (!id)
                return id.error();
        }
        return {};
    });
    if (!r) {
        err << r.message() << Qt::endl;
        return 1;
    }
    return 0;
}
