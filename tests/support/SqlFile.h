#pragma once

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStringList>
#include <QVariantList>
#include <optional>

// Runs the statements in order on a store file as another program, or an older version, would:
// on a connection of its own, gone again before the call returns. Gives the first column of every
// row the last statement returns, or nothing when the file cannot be opened or a statement fails.
inline std::optional<QVariantList> sqlOn(const QString& path, const QStringList& statements)
{
    const QString name = QStringLiteral("sqlfile ") + path;
    std::optional<QVariantList> column;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(path);
        if (db.open()) {
            QSqlQuery q(db);
            bool ok = true;
            for (const QString& sql : statements)
                ok = ok && q.exec(sql);
            if (ok)
                column.emplace();
            while (ok && q.next())
                *column << q.value(0);
        }
    }
    QSqlDatabase::removeDatabase(name);
    return column;
}
