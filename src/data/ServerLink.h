#pragma once

#include "data/Change.h"
#include "data/PgUrl.h"
#include "data/Result.h"
#include "data/Tables.h"

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QTimer>

class QTcpSocket;

// The shared store's connection to a PostgreSQL server: opened with the schema made or brought
// up to date, told of other seats' committed writes, and got back by itself after a loss. Other
// seats' writes arrive as changed(); a loss is reported once by lost() and its end by restored(),
// after which every table is to be reread.
class ServerLink : public QObject {
    Q_OBJECT
public:
    // How often an idle connection is checked, and a lost one tried again.
    static constexpr int CheckIntervalMs = 1000;
    // More row changes than this at once are told as a Reset of their table.
    static constexpr int BulkChangeRows = 200;
    // A large commit's notifications reach the seat in several reads: they are told together
    // once none has come for GatherMs, or GatherMaxMs after the first, whichever is sooner.
    static constexpr int GatherMs = 20;
    static constexpr int GatherMaxMs = 250;

    ServerLink(QString connectionName, PgUrl url, QObject* parent = nullptr);
    ~ServerLink() override;

    static bool isAddress(const QString& text);

    // Connects, prepares the schema and starts listening.
    Result<void> open();
    QString shown() const { return m_url.shown(); }
    const PgUrl& url() const { return m_url; }
    bool isUp() const { return m_up; }
    // What the loss was told with, while the link is down.
    QString downMessage() const { return m_downMessage; }
    // Whether the server turned the connection down for want of a (right) password.
    bool wantsPassword() const { return m_wantsPassword; }
    void setPassword(const QString& password) { m_url.password = password; }
    QSqlDatabase database() const;

    // A statement failed: the connection is checked now rather than at the next tick.
    void statementFailed();
    // An open transaction is left alone: a check inside it would fail with it.
    void setInTransaction(bool open) { m_inTransaction = open; }

signals:
    void changed(Table table, qint64 id, Change change);
    void lost(const QString& message);
    void restored();

private:
    Result<void> reach();
    void onNotification(const QString& name, QSqlDriver::NotificationSource source,
                        const QVariant& payload);
    void flush();
    void check();
    void goDown(const QString& message);
    void tryBack();

    QString m_name;
    PgUrl m_url;
    bool m_up = false;
    QString m_downMessage;
    bool m_wantsPassword = false;
    bool m_inTransaction = false;
    QTimer m_checkTimer;
    QTimer m_flushTimer;
    QElapsedTimer m_gathering;
    QTcpSocket* m_probe = nullptr;
    struct Heard {
        Table table;
        qint64 id;
        Change change;
    };
    QList<Heard> m_heard;
};
