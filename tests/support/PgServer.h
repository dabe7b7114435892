#pragma once

#include "support/ProgramRun.h"

#include <QDir>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTcpServer>
#include <QTemporaryDir>
#include <pwd.h>
#include <unistd.h>

// A PostgreSQL 15 server of its own in a temporary folder, on a free port of 127.0.0.1, trusting
// every local connection; stopped and removed with the object. The server refuses to run as
// root, so under root it runs as the `postgres` system user. Where it cannot start, isRunning()
// is false and whyNot() says why, for the test to skip.
class PgServer {
public:
    static constexpr char Role[] = "quillmate_test";

    // Tests run without syncing to disk; a bench that compares commit times with SQLite, which
    // syncs every commit, runs with it, and with room for many seats' connections.
    enum class Durability { Fast, Synced };

    explicit PgServer(Durability durability = Durability::Fast) : m_durability(durability)
    {
        const QString bin = QStringLiteral("/usr/lib/postgresql/15/bin");
        if (!QFileInfo::exists(bin + QStringLiteral("/initdb"))) {
            m_whyNot =
                QStringLiteral("no PostgreSQL 15 in %1 (scripts/install-deps.sh --test)").arg(bin);
            return;
        }
        if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QPSQL"))) {
            m_whyNot = QStringLiteral("no QPSQL driver (libqt6sql6-psql)");
            return;
        }
        if (!m_dir.isValid()) {
            m_whyNot = QStringLiteral("the temporary folder: ") + m_dir.errorString();
            return;
        }
        if (!handOver())
            return;
        QTcpServer probe;
        if (!probe.listen(QHostAddress::LocalHost, 0)) {
            m_whyNot = QStringLiteral("no free port: ") + probe.errorString();
            return;
        }
        m_port = probe.serverPort();
        probe.close();

        const ProgramRun init =
            run(bin + "/initdb", {"-D", dataDir(), "-U", Role, "-A", "trust", "-E", "UTF8",
                                  "--locale=C.UTF-8", "--no-sync"});
        if (init.code != 0) {
            m_whyNot = QStringLiteral("initdb failed: ") + init.err + init.out;
            return;
        }
        if (launch(bin))
            m_bin = bin;
    }

    ~PgServer()
    {
        if (!m_bin.isEmpty())
            run(m_bin + "/pg_ctl", {"-D", dataDir(), "-m", "immediate", "-w", "stop"});
    }

    PgServer(const PgServer&) = delete;
    PgServer& operator=(const PgServer&) = delete;

    bool isRunning() const { return !m_bin.isEmpty(); }

    // A server going away and coming back on the same port with the same data, as seats see a
    // restart; false (with whyNot() for start) when pg_ctl failed.
    bool stop() const
    {
        return run(m_bin + "/pg_ctl", {"-D", dataDir(), "-m", "fast", "-w", "stop"}).code == 0;
    }
    bool start() { return launch(m_bin); }
    QString whyNot() const { return m_whyNot; }

    QString url(const QString& database) const
    {
        return QString("postgresql://%1@127.0.0.1:%2/%3").arg(Role).arg(m_port).arg(database);
    }

    // A connection named `name` to `database`; check isOpen().
    QSqlDatabase connect(const QString& database, const QString& name) const
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QPSQL", name);
        db.setHostName("127.0.0.1");
        db.setPort(m_port);
        db.setUserName(Role);
        db.setDatabaseName(database);
        db.open();
        return db;
    }

    // A new, empty database; the reason when it could not be made.
    QString createDatabase(const QString& database) const
    {
        const QString name = QStringLiteral("pgserver-admin");
        QString error;
        {
            QSqlDatabase db = connect(QStringLiteral("postgres"), name);
            QSqlQuery q(db);
            if (!db.isOpen())
                error = db.lastError().text();
            else if (!q.exec(QStringLiteral("CREATE DATABASE ") + database))
                error = q.lastError().text();
        }
        QSqlDatabase::removeDatabase(name);
        return error;
    }

private:
    bool launch(const QString& bin)
    {
        const QString options =
            QString("-p %1 -k %2 -c listen_addresses=127.0.0.1 %3")
                .arg(m_port)
                .arg(m_dir.path(), m_durability == Durability::Fast
                                       ? QStringLiteral("-c fsync=off")
                                       : QStringLiteral("-c max_connections=300"));
        const ProgramRun start =
            run(bin + "/pg_ctl", {"-D", dataDir(), "-l", m_dir.filePath("server.log"), "-o",
                                  options, "-w", "start"});
        if (start.code != 0)
            m_whyNot = QStringLiteral("pg_ctl start failed: ") + start.err + start.out;
        return start.code == 0;
    }

    QString dataDir() const { return m_dir.filePath(QStringLiteral("data")); }

    static bool asRoot() { return geteuid() == 0; }

    // Under root the folder goes to the user the server runs as.
    bool handOver()
    {
        if (!asRoot())
            return true;
        const passwd* pw = getpwnam("postgres");
        if (!pw) {
            m_whyNot = QStringLiteral("running as root and there is no postgres user");
            return false;
        }
        if (chown(QFile::encodeName(m_dir.path()).constData(), pw->pw_uid, pw->pw_gid) == 0)
            return true;
        m_whyNot = QStringLiteral("cannot give the temporary folder to postgres");
        return false;
    }

    static ProgramRun run(const QString& program, const QStringList& args)
    {
        if (!asRoot())
            return runProgram(program, args);
        return runProgram("runuser", QStringList{"-u", "postgres", "--", program} + args);
    }

    QTemporaryDir m_dir{QDir::tempPath() + QStringLiteral("/pg-XXXXXX")};
    QString m_bin;
    QString m_whyNot;
    int m_port = 0;
    Durability m_durability;
};
