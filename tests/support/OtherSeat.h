#pragma once

#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QString>

// Makes the store run `insert` (another seat's INSERT) just before a row named `name` is
// inserted into or updated in `table`: that seat's row lands between our duplicate check and our
// own write, which only the database's constraint can then refuse. Written in the dialect of the
// database's engine. False, with the reason in `error`, when the trigger could not be made.
inline bool plantOtherSeat(QSqlDatabase db, const QString& table, const QString& name,
                           const QString& insert, QString* error = nullptr)
{
    QSqlQuery q(db);
    QStringList statements;
    if (db.driver()->dbmsType() == QSqlDriver::PostgreSQL) {
        statements << QString("CREATE FUNCTION other_seat() RETURNS trigger LANGUAGE plpgsql AS "
                              "$$ BEGIN IF NEW.name = '%1' AND pg_trigger_depth() = 1 THEN %2; END "
                              "IF; RETURN NEW; END $$")
                          .arg(name, insert)
                   << QString("CREATE TRIGGER other_seat BEFORE INSERT OR UPDATE ON %1 FOR EACH "
                              "ROW EXECUTE FUNCTION other_seat()")
                          .arg(table);
    } else {
        for (const char* event : {"INSERT", "UPDATE"})
            statements << QString("CREATE TRIGGER other_seat_%1 BEFORE %1 ON %2 WHEN NEW.name = "
                                  "'%3' BEGIN %4; END")
                              .arg(QLatin1String(event), table, name, insert);
    }
    for (const QString& statement : statements) {
        if (!q.exec(statement)) {
            if (error)
                *error = q.lastError().text();
            return false;
        }
    }
    return true;
}
