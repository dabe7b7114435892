// Times a paste end to end on a real X server: from the double-click's handler to the text in a
// stub chat client's box, over 50 sends, and the panel's CPU time while it sits docked and idle.
// Run it under tests/e2e/run-under-x.sh (an X server with a window manager):
//
//   tests/e2e/run-under-x.sh build/release/bin/bench_paste [--idle-seconds N]
//
// Ends with one line "RESULT paste_median_ms=<x> paste_p95_ms=<y> idle_cpu_ms=<z> idle_s=<n>".

#include "DesktopFactory.h"
#include "Dialogs.h"
#include "PanelDocking.h"
#include "PanelWindow.h"
#include "SearchService.h"
#include "Sender.h"
#include "Settings.h"
#include "Startup.h"
#include "StubChatProcess.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>
#include <algorithm>
#include <sys/resource.h>

namespace {

double cpuMs()
{
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return (u.ru_utime.tv_sec + u.ru_stime.tv_sec) * 1000.0 +
           (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1000.0;
}

bool waitFor(const std::function<bool()>& done, int ms)
{
    QElapsedTimer t;
    t.start();
    while (!done()) {
        if (t.elapsed() > ms)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QTextStream out(stdout);
    int idleSeconds = 60;
    const QStringList args = QCoreApplication::arguments();
    if (const qsizetype at = args.indexOf(QStringLiteral("--idle-seconds"));
        at > 0 && at + 1 < args.size())
        idleSeconds = args[at + 1].toInt();

    QTemporaryDir dir;
    Startup startup(DataRoot(dir.path(), {QCoreApplication::applicationDirPath()}));
    if (!startup.run()) {
        out << "start-up failed\n";
        return 1;
    }
    Dialogs::setRecording(true);
    std::unique_ptr<Desktop> desktop = createDesktop();
    if (!desktop->isAvailable()) {
        out << "no X server\n";
        return 1;
    }
    SearchService search(startup.store(), startup.settings());
    PanelWindow panel({startup.root(),
                       startup.settings(),
                       startup.store(),
                       search,
                       *desktop,
                       {QStringLiteral("admin"), true}});
    panel.show();
    panel.startDocking();

    StubChatProcess chat(QStringLiteral("WeChatMainWndForPC"), QStringLiteral("微信"),
                         QRect(200, 100, 600, 500));
    if (!chat.start())
        return 1;
    QProcess::execute(QStringLiteral("xdotool"),
                      {QStringLiteral("windowactivate"), QStringLiteral("--sync"),
                       QString::number(chat.window())});
    waitFor([&] { return desktop->foregroundWindow().id == chat.window(); }, 5000);
    panel.findChild<QPushButton*>(QStringLiteral("btnXiFu"))->click();

    QObject::connect(&panel.sender(), &Sender::pasteFinished, [&](bool ok, const QString& why) {
        if (!ok)
            out << "paste stopped: " << why << Qt::endl;
    });
    QList<double> times;
    for (int i = 0; i < 50; ++i) {
        chat.command(QStringLiteral("clear"));
        waitFor([&] { return chat.text().isEmpty(); }, 2000);
        const QString phrase = QStringLiteral("第%1条：亲，您好！").arg(i);
        EntryRef e;
        e.kind = SearchKind::Simple;
        e.id = startup.store().insert(Table::Simple, {{QStringLiteral("name"), phrase}}).value();
        e.title = phrase;
        QElapsedTimer t;
        t.start();
        panel.sender().perform(
            SendAction::forDoubleClick(e, false, ClickSource::PageList, startup.settings()));
        if (!waitFor([&] { return chat.text().startsWith(phrase); }, 5000)) {
            out << "send " << i << " did not arrive\n";
            return 1;
        }
        times << t.nsecsElapsed() / 1e6;
    }
    std::sort(times.begin(), times.end());
    const double median = times[times.size() / 2];
    const double p95 = times[static_cast<qsizetype>(times.size() * 95 / 100)];
    out << "paste: median " << median << " ms, p95 " << p95 << " ms over " << times.size()
        << " sends\n";

    // Idle while docked: whatever wakes the panel up costs CPU time here.
    const double before = cpuMs();
    QEventLoop idle;
    QTimer::singleShot(idleSeconds * 1000, &idle, &QEventLoop::quit);
    idle.exec();
    const double idleCpu = cpuMs() - before;
    out << "idle docked: " << idleCpu << " ms CPU in " << idleSeconds << " s\n";
    out << QStringLiteral("RESULT paste_median_ms=%1 paste_p95_ms=%2 idle_cpu_ms=%3 idle_s=%4")
               .arg(median, 0, 'f', 2)
               .arg(p95, 0, 'f', 2)
               .arg(idleCpu, 0, 'f', 1)
               .arg(idleSeconds)
        << Qt::endl;
    return 0;
}
