#include "app/SingleInstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocalSocket>
#include <QThread>

namespace {

constexpr QByteArrayView ShowRequest("show\n");
constexpr QByteArrayView ShowAnswer("ok\n");
constexpr int AnswerWaitMs = 2000;
// A panel that has just taken the lock needs a moment before it listens.
constexpr int ClaimAttempts = 50;
constexpr int ClaimPauseMs = 100;

} // namespace

SingleInstance::SingleInstance(const QString& folder, QObject* parent)
    : QObject(parent), m_folder(folder), m_lock(lockPath(folder))
{
    // Only a lock whose process has gone is stale; a panel may run for months.
    m_lock.setStaleLockTime(0);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_server.nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] { answer(socket); });
        }
    });
}

QString SingleInstance::lockPath(const QString& folder)
{
    return QDir(folder).filePath(QStringLiteral("quillmate.lock"));
}

QString SingleInstance::serverName(const QString& folder)
{
    const QString canonical = QDir(folder).canonicalPath();
    const QByteArray key = (canonical.isEmpty() ? QDir(folder).absolutePath() : canonical).toUtf8();
    return QStringLiteral("quillmate-") +
           QString::fromLatin1(
               QCryptographicHash::hash(key, QCryptographicHash::Sha1).toHex().left(20));
}

SingleInstance::Outcome SingleInstance::claim()
{
    for (int attempt = 0; attempt < ClaimAttempts; ++attempt) {
        if (m_lock.tryLock(0)) {
            if (listen())
                return Outcome::First;
            m_lock.unlock();
            return Outcome::Failed;
        }
        if (m_lock.error() != QLockFile::LockFailedError) {
            m_message = QStringLiteral("无法在程序文件夹中建立锁文件：") +
                        QDir::toNativeSeparators(lockPath(m_folder));
            return Outcome::Failed;
        }
        if (askToShow(m_folder))
            return Outcome::HandedOver;
        QThread::msleep(ClaimPauseMs);
    }
    m_message = QStringLiteral("客服Tavro已在运行，但没有回应。程序文件夹：") +
                QDir::toNativeSeparators(m_folder);
    return Outcome::Failed;
}

bool SingleInstance::listen()
{
    // A socket left by a panel that crashed would refuse the name.
    QLocalServer::removeServer(serverName(m_folder));
    if (m_server.listen(serverName(m_folder)))
        return true;
    m_message = QStringLiteral("无法建立程序之间的连接：") + m_server.errorString();
    return false;
}

void SingleInstance::answer(QLocalSocket* socket)
{
    if (!socket->canReadLine())
        return;
    if (socket->readLine() == ShowRequest) {
        socket->write(ShowAnswer.toByteArray());
        socket->flush();
        emit showRequested();
    }
    socket->disconnectFromServer();
}

bool SingleInstance::askToShow(const QString& folder)
{
    QLocalSocket socket;
    socket.connectToServer(serverName(folder));
    if (!socket.waitForConnected(AnswerWaitMs))
        return false;
    socket.write(ShowRequest.toByteArray());
    if (!socket.waitForBytesWritten(AnswerWaitMs))
        return false;
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(AnswerWaitMs))
            return false;
    }
    return socket.readLine() == ShowAnswer;
}
