// A seat working while the library is kept: the tests kill it halfway through a compaction, or
// let it write while another takes a backup. The data root's config.ini must exist.
// Usage: maintenance_child ROOT write COUNT   adds COUNT phrases, one commit each, and prints
//                                             every id once it is committed
//        maintenance_child ROOT compact       compacts the shared store
#include "data/Settings.h"
#include "data/Store.h"
#include "data/StoreMaintenance.h"

#include <QCoreApplication>
#include <cstdio>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    Settings settings(args.value(1) + QStringLiteral("/config.ini"));
    Store store(args.value(1), settings);
    Result<void> r = settings.load();
    if (r)
        r = store.open();
    if (r && args.value(2) == QLatin1String("write")) {
        for (int i = 0; r && i < args.value(3).toInt(); ++i) {
            const Result<qint64> id = store.insert(
                Table::Simple, {{QStringLiteral("name"), QStringLiteral("w%1").arg(i)}});
            if (!id)
                r = id.error();
            else
                std::printf("%lld\n", static_cast<long long>(id.value()));
            std::fflush(stdout);
        }
    } else if (r && args.value(2) == QLatin1String("compact")) {
        const Result<StoreMaintenance::Sizes> sizes =
            StoreMaintenance::forStore(store, StoreId::Assistant,
                                       StoreMaintenance::Work::Compaction)
                .compact();
        if (!sizes)
            r = sizes.error();
    } else if (r) {
        return 2;
    }
    if (!r)
        std::fprintf(stderr, "%s\n", qPrintable(r.message()));
    return r ? 0 : 1;
}
