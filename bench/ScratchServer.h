#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A PostgreSQL 15 of the bench's own in a temporary folder, on a free port of 127.0.0.1, trusting
// local connections; stopped and removed with the object. Unlike the tests' server it keeps
// fsync on: the bench compares commit times with SQLite's, which syncs every commit. The server
// refuses to run as root, so under root it runs as the `postgres` system user.
class ScratchServer {
public:
    static constexpr char Role[] = "quillmate_bench";
    static constexpr char Database[] = "seats";

    ScratchServer();
    ~ScratchServer();
    ScratchServer(const ScratchServer&) = delete;
    ScratchServer& operator=(const ScratchServer&) = delete;

    // Initialises, starts and makes the bench's database; false with whyNot() on failure.
    bool start();
    QString whyNot() const { return m_whyNot; }
    QString url() const;

private:
    struct Run {
        int code = -1;
        QString output;
    };
    Run run(const QString& program, const QStringList& args) const;
    bool handOver();
    QString dataDir() const;

    QTemporaryDir m_dir;
    QString m_bin;
    bool m_running = false;
    int m_port = 0;
    QString m_whyNot;
};
