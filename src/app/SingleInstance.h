#pragma once

#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QString>

// One panel per program folder. The first panel holds a lock file in the folder and listens on
// a local socket named after the folder; a later start finds the lock held, asks that panel to
// show itself and ends. A lock left by a panel that crashed is taken over: QLockFile sees that
// its process no longer runs. Command-line commands take no part in this.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    enum class Outcome {
        First,      // this process holds the folder now
        HandedOver, // the running panel was asked to show itself
        Failed,     // neither: message() says why
    };

    explicit SingleInstance(const QString& folder, QObject* parent = nullptr);

    Outcome claim();
    QString message() const { return m_message; }

    // Asks the panel that holds `folder` to show itself; false when none answers.
    static bool askToShow(const QString& folder);
    static QString serverName(const QString& folder);
    static QString lockPath(const QString& folder);

signals:
    void showRequested();

private:
    bool listen();
    void answer(class QLocalSocket* socket);

    QString m_folder;
    QLockFile m_lock;
    QLocalServer m_server;
    QString m_message;
};
