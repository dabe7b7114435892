#include "ScratchServer.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSqlDatabase>
#include <QTcpServer>

#ifdef Q_OS_UNIX
#include <pwd.h>
#include <unistd.h>
#endif

namespace {

const QString Bin = QStringLiteral("/usr/lib/postgresql/15/bin");

bool asRoot()
{
#ifdef Q_OS_UNIX
    return geteuid() == 0;
#else
    return false;
#endif
}

} // namespace

ScratchServer::ScratchServer() : m_dir(QDir::tempPath() + QStringLiteral("/seats-pg-XXXXXX")) {}

ScratchServer::~ScratchServer()
{
    if (m_running)
        run(m_bin + QStringLiteral("/pg_ctl"),
            {QStringLiteral("-D"), dataDir(), QStringLiteral("-m"), QStringLiteral("immediate"),
             QStringLiteral("-w"), QStringLiteral("stop")});
}

bool ScratchServer::start()
{
    if (!QFileInfo::exists(Bin + QStringLiteral("/initdb"))) {
        m_whyNot = QStringLiteral("no PostgreSQL 15 in ") + Bin;
        return false;
    }
    if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QPSQL"))) {
        m_whyNot = QStringLiteral("no QPSQL driver");
        return false;
    }
    if (!m_dir.isValid()) {
        m_whyNot = QStringLiteral("the temporary folder: ") + m_dir.errorString();
        return false;
    }
    if (!handOver())
        return false;
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 0)) {
        m_whyNot = QStringLiteral("no free port: ") + probe.errorString();
        return false;
    }
    m_port = probe.serverPort();
    probe.close();

    const Run init = run(Bin + QStringLiteral("/initdb"),
                         {QStringLiteral("-D"), dataDir(), QStringLiteral("-U"),
                          QString::fromLatin1(Role), QStringLiteral("-A"), QStringLiteral("trust"),
                          QStringLiteral("-E"), QStringLiteral("UTF8"),
                          QStringLiteral("--locale=C.UTF-8"), QStringLiteral("--no-sync")});
    if (init.code != 0) {
        m_whyNot = QStringLiteral("initdb failed: ") + init.output;
        return false;
    }
    // Every seat holds a connection, and the tests' default of 100 leaves little room for more.
    const QString options =
        QStringLiteral("-p %1 -k %2 -c listen_addresses=127.0.0.1 -c max_connections=300")
            .arg(m_port)
            .arg(m_dir.path());
    const Run started = run(Bin + QStringLiteral("/pg_ctl"),
                            {QStringLiteral("-D"), dataDir(), QStringLiteral("-l"),
                             m_dir.filePath(QStringLiteral("server.log")), QStringLiteral("-o"),
                             options, QStringLiteral("-w"), QStringLiteral("start")});
    if (started.code != 0) {
        m_whyNot = QStringLiteral("pg_ctl start failed: ") + started.output;
        return false;
    }
    m_bin = Bin;
    m_running = true;
    const Run created = run(Bin + QStringLiteral("/createdb"),
                            {QStringLiteral("-h"), QStringLiteral("127.0.0.1"),
                             QStringLiteral("-p"), QString::number(m_port), QStringLiteral("-U"),
                             QString::fromLatin1(Role), QString::fromLatin1(Database)});
    if (created.code != 0) {
        m_whyNot = QStringLiteral("createdb failed: ") + created.output;
        return false;
    }
    return true;
}

QString ScratchServer::url() const
{
    return QStringLiteral("postgresql://%1@127.0.0.1:%2/%3")
        .arg(QString::fromLatin1(Role))
        .arg(m_port)
        .arg(QString::fromLatin1(Database));
}

ScratchServer::Run ScratchServer::run(const QString& program, const QStringList& args) const
{
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    if (asRoot())
        p.start(QStringLiteral("runuser"),
                QStringList{QStringLiteral("-u"), QStringLiteral("postgres"), QStringLiteral("--"),
                            program} +
                    args);
    else
        p.start(program, args);
    Run r;
    if (!p.waitForFinished(120000))
        return r;
    r.code = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -2;
    r.output = QString::fromLocal8Bit(p.readAll());
    return r;
}

bool ScratchServer::handOver()
{
    if (!asRoot())
        return true;
#ifdef Q_OS_UNIX
    const passwd* pw = getpwnam("postgres");
    if (!pw) {
        m_whyNot = QStringLiteral("running as root and there is no postgres user");
        return false;
    }
    if (chown(QFile::encodeName(m_dir.path()).constData(), pw->pw_uid, pw->pw_gid) == 0)
        return true;
#endif
    m_whyNot = QStringLiteral("cannot give the temporary folder to postgres");
    return false;
}

QString ScratchServer::dataDir() const
{
    return m_dir.filePath(QStringLiteral("data"));
}
