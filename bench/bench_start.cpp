// Times the start of the panel on a large library, against loading every entry into the tree
// and the lists at start, as the panel once did.
//
//   bench_start --data-dir DIR
//
// Fills DIR with the generated library on first use. Runs offscreen unless QT_QPA_PLATFORM says
// otherwise. Ends with one line "RESULT start_ms=<x> rss_mb=<y> eager_start_ms=<z>".

#include "LibraryGenerator.h"
#include "app/Startup.h"
#include "data/CurrentUser.h"
#include "data/SearchService.h"
#include "panel/PanelWindow.h"
#include "panel/TreePage.h"
#include "platform/PlatformPaths.h"
#include "platform/fake/FakeDesktop.h"

#include <QApplication>
#include <QFile>
#include <QSqlQuery>
#include <QStandardItemModel>
#include <QTextStream>
#include <QTreeView>
#include <chrono>

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double residentMb()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
    }
    return 0;
}

void settle()
{
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents();
}

// Every row of a table into a flat model, every column as text.
int loadTable(QSqlDatabase db, const QString& sql, QStandardItemModel& model)
{
    QSqlQuery q(db);
    q.setForwardOnly(true);
    q.exec(sql);
    int rows = 0;
    while (q.next()) {
        QList<QStandardItem*> items;
        for (int c = 0; c < 4; ++c)
            items << new QStandardItem(q.value(c).toString());
        model.appendRow(items);
        ++rows;
    }
    return rows;
}

// The old way: the whole tree and all four lists filled before the panel shows.
double eagerStart(Store& store)
{
    const auto start = Clock::now();
    QSqlDatabase a = store.database(StoreId::Assistant);
    QSqlDatabase p = store.database(StoreId::Personal);
    QStandardItemModel tree;
    QHash<qint64, QStandardItem*> bigs, smalls;
    QSqlQuery q(a);
    q.setForwardOnly(true);
    q.exec(QStringLiteral("select id,name from item order by id"));
    QHash<qint64, QStandardItem*> roots;
    while (q.next()) {
        auto* item = new QStandardItem(q.value(1).toString());
        roots.insert(q.value(0).toLongLong(), item);
        tree.appendRow(item);
    }
    q.exec(QStringLiteral("select id,name,itemid,flag,url from type order by serialnum"));
    while (q.next()) {
        auto* item = new QStandardItem(q.value(1).toString());
        item->setData(q.value(4));
        if (q.value(2).toInt() == 2)
            bigs.insert(q.value(0).toLongLong(), item);
        if (QStandardItem* root = roots.value(q.value(2).toLongLong()))
            root->appendRow(item);
    }
    q.exec(QStringLiteral("select id,name,typeid from goods order by serialnum"));
    while (q.next()) {
        auto* item = new QStandardItem(q.value(1).toString());
        smalls.insert(q.value(0).toLongLong(), item);
        if (QStandardItem* big = bigs.value(q.value(2).toLongLong()))
            big->appendRow(item);
    }
    q.exec(QStringLiteral("select id,name,description,goodsid,commonflag,pic from knowledge "
                          "order by littleserialnum"));
    while (q.next()) {
        auto* item = new QStandardItem(q.value(1).toString());
        item->setData(q.value(2), Qt::UserRole + 1);
        item->setData(q.value(5), Qt::UserRole + 2);
        if (QStandardItem* small = smalls.value(q.value(3).toLongLong()))
            small->appendRow(item);
        if (q.value(4).toInt() == 1) {
            auto* twin = item->clone();
            roots.value(1)->appendRow(twin);
        }
    }
    QTreeView view;
    view.setModel(&tree);
    view.expandAll();

    QStandardItemModel simple, files, tools, personal;
    loadTable(a, QStringLiteral("select id,name,typeid,usetime from simple order by serialnum"),
              simple);
    loadTable(a, QStringLiteral("select id,name,extname,typeid from file order by serialnum"),
              files);
    loadTable(p, QStringLiteral("select id,name,path,typeid from tools order by serialnum"), tools);
    loadTable(p,
              QStringLiteral("select id,name,description,typeid from personal order by serialnum"),
              personal);
    QTreeView lists[4];
    lists[0].setModel(&simple);
    lists[1].setModel(&files);
    lists[2].setModel(&tools);
    lists[3].setModel(&personal);
    view.show();
    settle();
    return msSince(start);
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);
    const QStringList args = QCoreApplication::arguments();
    const qsizetype at = args.indexOf(QStringLiteral("--data-dir"));
    if (at < 0 || at + 1 >= args.size()) {
        err << "usage: bench_start --data-dir DIR\n";
        return 2;
    }
    const QString dir = args[at + 1];
    const QString exe = QCoreApplication::applicationDirPath();
    {
        // Fill first, in a start-up of its own, so that the timed start finds the files cold
        // only as far as the system's cache is.
        Startup filler(DataRoot(dir, PlatformPaths::shippedDataFolders(exe)));
        if (Result<void> r = filler.run(); !r) {
            err << r.message() << '\n';
            return 1;
        }
        filler.store().setCurrentUser(QStringLiteral("admin"));
        LibraryGenerator generator(filler.store());
        if (Result<bool> r = generator.fillIfEmpty(); !r) {
            err << r.message() << '\n';
            return 1;
        }
    }

    const auto start = Clock::now();
    Startup startup(DataRoot(dir, PlatformPaths::shippedDataFolders(exe)));
    if (Result<void> r = startup.run(); !r) {
        err << r.message() << '\n';
        return 1;
    }
    FakeDesktop desktop;
    SearchService search(startup.store(), startup.settings());
    auto panel = std::make_unique<PanelWindow>(
        Services{startup.root(), startup.settings(), startup.store(), search, desktop,
                 CurrentUser{QStringLiteral("admin"), true}});
    panel->show();
    settle();
    const double startMs = msSince(start);
    const double rss = residentMb();
    const int shownRows = panel->treePage()->model()->rowCount();
    out << "panel start: " << startMs << " ms, " << rss << " MB resident, " << shownRows
        << " sections\n";
    panel.reset();

    const double eagerMs = eagerStart(startup.store());
    out << "load-everything start: " << eagerMs << " ms, " << residentMb() << " MB resident\n";
    out << QStringLiteral("RESULT start_ms=%1 rss_mb=%2 eager_start_ms=%3")
               .arg(startMs, 0, 'f', 1)
               .arg(rss, 0, 'f', 1)
               .arg(eagerMs, 0, 'f', 1)
        << Qt::endl;
    return 0;
}
