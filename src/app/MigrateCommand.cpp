#include "app/MigrateCommand.h"

#include "app/Startup.h"
#include "data/PgMigration.h"
#include "data/PgSchema.h"
#include "data/PgUrl.h"

#include <QSqlDatabase>

using namespace Qt::StringLiterals;

namespace MigrateCommand {

namespace {

const QString ConnectionName = u"quillmate-migrate"_s;

int migrate(Startup& startup, const PgUrl& url, QTextStream& out, QTextStream& err)
{
    QSqlDatabase target = QSqlDatabase::addDatabase(u"QPSQL"_s, ConnectionName);
    url.applyTo(target);
    if (!target.open()) {
        err << PgSchema::failure(url.shown(), target.lastError()).message << Qt::endl;
        return 1;
    }
    PgMigration migration(startup.store().database(StoreId::Assistant), target, url.shown());
    const Result<QList<PgMigration::Copied>> copied = migration.run();
    target.close();
    if (!copied) {
        err << copied.message() << Qt::endl;
        return 1;
    }
    for (const PgMigration::Copied& c : *copied)
        out << Tables::name(c.table) << u'\t' << c.rows << u'\n';
    out << u"已迁移到 "_s << url.shown() << Qt::endl;
    return 0;
}

} // namespace

int run(Startup& startup, const CommandLine& cl, QTextStream& out, QTextStream& err)
{
    const Result<PgUrl> url = PgUrl::parse(cl.databaseUrl);
    if (!url) {
        err << url.message() << Qt::endl;
        return 2;
    }
    if (!QSqlDatabase::isDriverAvailable(u"QPSQL"_s)) {
        err << u"缺少 Qt 的 PostgreSQL 驱动（Debian 软件包 libqt6sql6-psql），无法连接数据库。"_s
            << Qt::endl;
        return 1;
    }
    if (startup.store().isOnServer(StoreId::Assistant)) {
        err << u"这台电脑的共享数据库已在服务器 "_s << startup.store().filePath(StoreId::Assistant)
            << u" 上，没有可迁移的数据库文件。"_s << Qt::endl;
        return 1;
    }
    const int code = migrate(startup, *url, out, err);
    QSqlDatabase::removeDatabase(ConnectionName);
    return code;
}

} // namespace MigrateCommand
