// Times the paste end to end on a real X server, against each stand-in chat client (Qt, GTK,
// Chromium): 50 double-clicks on a phrase in the docked panel and 50 presses of a hot key held
// 80 ms, all made through XTest as a person makes them. For each it counts what arrived, the time
// from the second click (or the press) to the text in the box, and the Enters that found the text
// there. Then the panel's CPU time while it sits docked and idle. Run it under
// tests/e2e/run-under-x.sh (an X server with a window manager):
//
//   tests/e2e/run-under-x.sh build/release/bin/bench_paste [--count N] [--idle-seconds N]
//                            [--toolkits qt,gtk,chromium]
//
// Ends with one line "RESULT <toolkit>_<gesture>_arrived=<n>/<N> ..._p95_ms=<x> ..." and
// "RESULT idle_cpu_ms=<z> idle_s=<n>".

#include "app/Startup.h"
#include "data/SearchService.h"
#include "data/Settings.h"
#include "e2e/StubChatProcess.h"
#include "hotkeys/HotKeyManager.h"
#include "panel/EntryView.h"
#include "panel/PanelDocking.h"
#include "panel/PanelWindow.h"
#include "platform/DesktopFactory.h"
#include "send/Sender.h"
#include "widgets/Dialogs.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QJsonObject>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <algorithm>
#include <functional>
#include <sys/resource.h>

namespace {

double cpuMs()
{
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return (u.ru_utime.tv_sec + u.ru_stime.tv_sec) * 1000.0 +
           (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1000.0;
}

// Runs the event loop (the panel lives in it) until `done` or the time is up, looking every
// millisecond. Between looks the loop sleeps: a busy wait in the panel's own thread would slow
// down what is measured.
bool waitFor(const std::function<bool()>& done, int ms)
{
    QElapsedTimer t;
    t.start();
    QEventLoop loop;
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    tick.setInterval(1);
    QObject::connect(&tick, &QTimer::timeout, &loop, [&] {
        if (done() || t.elapsed() > ms)
            loop.quit();
    });
    if (done())
        return true;
    tick.start();
    loop.exec();
    return done();
}

void pause(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

// The agent's hand: pointer and keys through XTest, on a connection of its own.
class Hand {
public:
    Hand() : m_display(XOpenDisplay(nullptr)) {}
    ~Hand()
    {
        if (m_display)
            XCloseDisplay(m_display);
    }
    bool ok() const { return m_display != nullptr; }

    void moveTo(const QPoint& at)
    {
        XTestFakeMotionEvent(m_display, -1, at.x(), at.y(), CurrentTime);
        XFlush(m_display);
    }
    void button(bool down)
    {
        XTestFakeButtonEvent(m_display, 1, down ? True : False, CurrentTime);
        XFlush(m_display);
    }
    void key(KeySym keysym, bool down)
    {
        XTestFakeKeyEvent(m_display, XKeysymToKeycode(m_display, keysym), down ? True : False,
                          CurrentTime);
        XFlush(m_display);
    }

private:
    Display* m_display;
};

struct Series {
    QList<double> times; // ms from the gesture to the text in the box
    int arrived = 0;
    int entersAfterText = 0;
    int count = 0;

    double percentile(int p) const
    {
        if (times.isEmpty())
            return -1;
        QList<double> sorted = times;
        std::sort(sorted.begin(), sorted.end());
        const qsizetype at = std::min(sorted.size() - 1, sorted.size() * p / 100);
        return sorted[at];
    }
};

// One gesture per round: clears the box, makes the gesture (which returns as soon as it has sent
// the event that counts as its start; the rest of it follows on timers) and waits for the text
// and for its Enter.
Series measure(StubChatProcess& chat, const QString& text, int count,
               const std::function<void(QElapsedTimer&)>& gesture)
{
    Series s;
    s.count = count;
    for (int i = 0; i < count; ++i) {
        chat.command(QStringLiteral("clear"));
        waitFor([&] { return chat.text().isEmpty(); }, 2000);
        const qsizetype entersBefore = chat.events(QStringLiteral("enter")).size();
        QElapsedTimer t;
        gesture(t);
        const bool arrived = waitFor([&] { return chat.text() == text; }, 3000);
        const double ms = t.nsecsElapsed() / 1e6;
        pause(100); // the gesture's own end (a release) is out
        if (!arrived)
            continue;
        s.times << ms;
        ++s.arrived;
        waitFor([&] { return chat.events(QStringLiteral("enter")).size() > entersBefore; }, 2000);
        pause(150); // a second Enter, if any, would come now
        const QList<QJsonObject> enters = chat.events(QStringLiteral("enter"));
        if (enters.size() == entersBefore + 1 &&
            enters.last().value(QStringLiteral("text")).toString() == text)
            ++s.entersAfterText;
    }
    return s;
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QTextStream out(stdout);
    int idleSeconds = 60;
    int count = 50;
    QStringList toolkits{QStringLiteral("qt"), QStringLiteral("gtk"), QStringLiteral("chromium")};
    const QStringList args = QCoreApplication::arguments();
    for (qsizetype i = 1; i + 1 < args.size(); i += 2) {
        if (args[i] == QLatin1String("--idle-seconds"))
            idleSeconds = args[i + 1].toInt();
        else if (args[i] == QLatin1String("--count"))
            count = args[i + 1].toInt();
        else if (args[i] == QLatin1String("--toolkits"))
            toolkits = args[i + 1].split(u',');
    }

    QTemporaryDir dir;
    Startup startup(DataRoot(dir.path(), {QCoreApplication::applicationDirPath()}));
    if (!startup.run()) {
        out << "start-up failed\n";
        return 1;
    }
    Settings& settings = startup.settings();
    const QString phrase = QStringLiteral("亲，您好！请问有什么可以帮您？");
    const Result<qint64> entry =
        startup.store().insert(Table::Knowledge, {{QStringLiteral("name"), QStringLiteral("问候")},
                                                  {QStringLiteral("description"), phrase}});
    const Result<qint64> simple =
        startup.store().insert(Table::Simple, {{QStringLiteral("name"), phrase}});
    if (!entry || !simple) {
        out << "set-up failed: " << entry.message() << simple.message() << Qt::endl;
        return 1;
    }
    for (const Result<void>& r :
         {settings.setValue(Setting::AutoPressSendKey, QStringLiteral("1|Enter")),
          settings.setValue(Setting::EndNewLineOne, QStringLiteral("0")),
          settings.setValue(Setting::AddHotKeyEndNewLine, QStringLiteral("0")),
          settings.setValue(Setting::StartHotKey, QStringLiteral("1")),
          settings.setHotKey(1, HotKeyField::SendContent, QString::number(entry.value()))}) {
        if (!r) {
            out << "set-up failed: " << r.message() << Qt::endl;
            return 1;
        }
    }

    Dialogs::setRecording(true);
    std::unique_ptr<Desktop> desktop = createDesktop();
    Hand hand;
    if (!desktop->isAvailable() || !hand.ok()) {
        out << "no X server\n";
        return 1;
    }
    SearchService search(startup.store(), settings);
    PanelWindow panel({startup.root(),
                       settings,
                       startup.store(),
                       search,
                       *desktop,
                       {QStringLiteral("admin"), true}});
    panel.show();
    panel.startDocking();
    panel.selectTab(3);
    QObject::connect(&panel.sender(), &Sender::pasteFinished, [&](bool ok, const QString& why) {
        if (!ok)
            out << "  paste stopped: " << why << Qt::endl;
    });
    auto* list = panel.findChild<EntryView*>(QStringLiteral("lvSimple"));

    QStringList results;
    for (const QString& name : toolkits) {
        const StubChatProcess::Toolkit toolkit =
            name == QLatin1String("gtk")        ? StubChatProcess::Toolkit::Gtk
            : name == QLatin1String("chromium") ? StubChatProcess::Toolkit::Chromium
                                                : StubChatProcess::Toolkit::Qt;
        StubChatProcess chat(QStringLiteral("WeChatMainWndForPC"), QStringLiteral("微信"),
                             QRect(200, 100, 600, 500), toolkit);
        if (!chat.start()) {
            out << name << ": the stand-in did not start\n";
            return 1;
        }
        QProcess::execute(QStringLiteral("xdotool"),
                          {QStringLiteral("windowactivate"), QStringLiteral("--sync"),
                           QString::number(chat.window())});
        waitFor([&] { return desktop->foregroundWindow().id == chat.window(); }, 5000);
        if (!panel.docking()->dockSwitch().docked())
            panel.findChild<QPushButton*>(QStringLiteral("btnXiFu"))->click();
        waitFor([&] { return panel.docking()->controller().target().window == chat.window(); },
                5000);
        pause(300);

        const Series clicks = measure(chat, phrase, count, [&](QElapsedTimer& t) {
            const QRect cell = list->visualRect(list->model()->index(0, 2));
            hand.moveTo(list->viewport()->mapToGlobal(cell.center()));
            pause(30);
            hand.button(true);
            pause(70);
            hand.button(false);
            pause(60);
            hand.button(true);
            t.start();
            QTimer::singleShot(70, Qt::PreciseTimer, [&] { hand.button(false); });
        });
        const Series keys = measure(chat, phrase, count, [&](QElapsedTimer& t) {
            hand.key(XK_F1, true);
            t.start();
            QTimer::singleShot(80, Qt::PreciseTimer, [&] { hand.key(XK_F1, false); });
        });
        for (const auto& [gesture, s] : {std::pair{QStringLiteral("double-click"), clicks},
                                         std::pair{QStringLiteral("hot key"), keys}}) {
            out << name << " " << gesture << ": " << s.arrived << "/" << s.count
                << " arrived, median " << s.percentile(50) << " ms, p95 " << s.percentile(95)
                << " ms, exactly one Enter after the text " << s.entersAfterText << "/" << s.count
                << Qt::endl;
            const QString key =
                name + u'_' +
                (gesture == QLatin1String("hot key") ? QStringLiteral("hotkey")
                                                     : QStringLiteral("doubleclick"));
            results << QStringLiteral("%1_arrived=%2/%3 %1_median_ms=%4 %1_p95_ms=%5 "
                                      "%1_enter_after_text=%6")
                           .arg(key)
                           .arg(s.arrived)
                           .arg(s.count)
                           .arg(s.percentile(50), 0, 'f', 1)
                           .arg(s.percentile(95), 0, 'f', 1)
                           .arg(s.entersAfterText);
        }
        chat.stop();
    }
    out << "RESULT " << results.join(u' ') << Qt::endl;

    // Idle while docked: whatever wakes the panel up costs CPU time here.
    StubChatProcess chat(QStringLiteral("WeChatMainWndForPC"), QStringLiteral("微信"),
                         QRect(200, 100, 600, 500));
    if (chat.start()) {
        QProcess::execute(QStringLiteral("xdotool"),
                          {QStringLiteral("windowactivate"), QStringLiteral("--sync"),
                           QString::number(chat.window())});
        pause(500);
    }
    const double before = cpuMs();
    QEventLoop idle;
    QTimer::singleShot(idleSeconds * 1000, &idle, &QEventLoop::quit);
    idle.exec();
    const double idleCpu = cpuMs() - before;
    out << "idle docked: " << idleCpu << " ms CPU in " << idleSeconds << " s\n";
    out << QStringLiteral("RESULT idle_cpu_ms=%1 idle_s=%2")
               .arg(idleCpu, 0, 'f', 1)
               .arg(idleSeconds)
        << Qt::endl;
    return 0;
}
