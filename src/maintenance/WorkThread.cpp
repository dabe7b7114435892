#include "maintenance/WorkThread.h"

#include <QEventLoop>
#include <QThread>
#include <memory>

void runOffThread(const std::function<void()>& work)
{
    QEventLoop loop;
    std::unique_ptr<QThread> thread(QThread::create(work));
    // Queued across threads: a quit that comes before exec() still ends the loop.
    QObject::connect(thread.get(), &QThread::finished, &loop, &QEventLoop::quit,
                     Qt::QueuedConnection);
    thread->start();
    loop.exec();
    thread->wait();
}
