#include "data/PgMigration.h"

#include "data/PgSchema.h"

#include <QSqlQuery>

PgMigration::PgMigration(QSqlDatabase source, QSqlDatabase target, QString shown)
    : m_source(std::move(source)), m_target(std::move(target)), m_shown(std::move(shown))
{}

Result<QList<PgMigration::Copied>> PgMigration::run()
{
    TableCopier copier({m_source, TableCopier::Engine::File, QString()},
                       {m_target, TableCopier::Engine::Server, m_shown});
    // The check and the schema are part of the copy's transaction: a failure anywhere leaves
    // the database empty.
    copier.setPrepare([this]() -> Result<void> {
        const Result<PgSchema::Inspection> found = PgSchema::inspect(m_target, m_shown);
        if (!found)
            return found.error();
        if (found->state != PgSchema::State::Empty)
            return Error{QStringLiteral("数据库 %1 不是空的，只能迁移到空数据库；程序没有改动它。")
                             .arg(m_shown)};
        QSqlQuery q(m_target);
        for (const QString& statement : PgSchema::createStatements()) {
            if (!q.exec(statement))
                return PgSchema::failure(m_shown, q.lastError());
        }
        return {};
    });
    return copier.run();
}
