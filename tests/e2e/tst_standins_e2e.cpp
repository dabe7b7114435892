// The chat-client stand-ins, each made with a real toolkit, behave as the other end-to-end tests
// take for granted: window, class, title and place as asked, typing, Enter, the commands, several
// at once. And they paste as their toolkits do: with Ctrl+V followed at once by Enter, GTK handles
// the Enter before a slow clipboard has answered, Qt and Chromium after it.
#include "StubChatProcess.h"

#include <QClipboard>
#include <QDebug>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <functional>

using Toolkit = StubChatProcess::Toolkit;

namespace {

constexpr int WaitMs = 8000;

struct Output {
    bool ok = false;
    QString text;
};

// Runs a tool to its end with the event loop running meanwhile, so that the clipboard this
// process owns is served at once, as a real application's would be.
Output run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LC_ALL", "C.UTF-8"); // xprop prints UTF-8 titles as they are
    process.setProcessEnvironment(environment);
    QEventLoop loop;
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    process.start(program, arguments);
    if (!process.waitForStarted(5000))
        return {};
    if (process.state() != QProcess::NotRunning)
        loop.exec();
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(5000);
        return {};
    }
    return {process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
            QString::fromUtf8(process.readAllStandardOutput())};
}

// Waits with the event loop blocked in the system until there is something to do, unlike
// QTest::qWaitFor, which sleeps between rounds and so would be slow to serve the clipboard.
bool waitFor(const std::function<bool()>& done, int timeoutMs = WaitMs)
{
    if (done())
        return true;
    QEventLoop loop;
    QTimer poll;
    poll.setInterval(5);
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done())
            loop.quit();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    poll.start();
    loop.exec();
    return done();
}

// An X property's value as "xprop -notype" prints it after "NAME = ".
QString xProperty(quint64 window, const QString& name)
{
    const Output out = run("xprop", {"-id", QString::number(window), "-notype", name});
    const QString line = out.text.trimmed();
    const qsizetype equals = line.indexOf(" = ");
    return out.ok && equals >= 0 ? line.mid(equals + 3) : QString();
}

// The quoted strings of such a value, with xprop's backslash escapes undone.
QStringList quotedStrings(const QString& value)
{
    static const QRegularExpression quoted("\"((?:[^\"\\\\]|\\\\.)*)\"");
    static const QRegularExpression escaped("\\\\(.)");
    QStringList strings;
    for (const QRegularExpressionMatch& match : quoted.globalMatch(value))
        strings << match.captured(1).replace(escaped, "\\1");
    return strings;
}

QString titleOf(quint64 window)
{
    const QStringList strings = quotedStrings(xProperty(window, "_NET_WM_NAME"));
    return strings.size() == 1 ? strings.first() : QString();
}

// Where the window manager's frame begins, and the size of the window inside it.
QRect frameOriginAndClientSize(quint64 window)
{
    const Output info = run("xwininfo", {"-id", QString::number(window)});
    const auto field = [&](const QString& label) {
        return QRegularExpression(label + ":\\s*(-?\\d+)").match(info.text).captured(1).toInt();
    };
    const QStringList extents = xProperty(window, "_NET_FRAME_EXTENTS").split(", ");
    if (!info.ok || extents.size() != 4)
        return {};
    return QRect(field("Absolute upper-left X") - extents.at(0).toInt(),
                 field("Absolute upper-left Y") - extents.at(2).toInt(), field("Width"),
                 field("Height"));
}

quint64 activeWindow()
{
    return run("xdotool", {"getactivewindow"}).text.trimmed().toULongLong();
}

bool activate(const StubChatProcess& chat)
{
    return xdotool({"windowactivate", "--sync", QString::number(chat.window())}) &&
           waitFor([&] { return activeWindow() == chat.window(); });
}

bool lastActive(const StubChatProcess& chat, bool active)
{
    const QList<QJsonObject> events = chat.events("active");
    return !events.isEmpty() && events.last().value("active").toBool() == active;
}

qsizetype count(const StubChatProcess& chat, const QString& event)
{
    return chat.events(event).size();
}

void addToolkitRows()
{
    QTest::addColumn<Toolkit>("toolkit");
    for (const Toolkit toolkit : {Toolkit::Qt, Toolkit::Gtk, Toolkit::Chromium})
        QTest::newRow(qPrintable(StubChatProcess::toolkitName(toolkit))) << toolkit;
}

} // namespace

class TestStandInsE2e : public QObject {
    Q_OBJECT
private slots:
    void behavesAsAsked_data() { addToolkitRows(); }
    void behavesAsAsked();
    void pasteThenEnter_data();
    void pasteThenEnter();
    void severalKindsAtOnce();
};

void TestStandInsE2e::behavesAsAsked()
{
    QFETCH(Toolkit, toolkit);
    const QString name = "StandIn" + StubChatProcess::toolkitName(toolkit);
    const QString title = "客户 \"甲\" - " + name;
    const QRect geometry(150, 120, 520, 360);
    StubChatProcess chat(name, title, geometry, toolkit);

    QElapsedTimer started;
    started.start();
    QVERIFY(chat.start());
    qInfo("%s: ready %lld ms after the start", qPrintable(name), started.elapsed());
    QCOMPARE(count(chat, "ready"), 1);
    QVERIFY(chat.window() != 0);

    const QStringList wmClass = quotedStrings(xProperty(chat.window(), "WM_CLASS"));
    QCOMPARE(wmClass.size(), 2);
    QCOMPARE(wmClass.at(1), name);
    // Chromium names the instance after the page, as it does for any --app window.
    if (toolkit != Toolkit::Chromium)
        QCOMPARE(wmClass.at(0), name);
    QCOMPARE(titleOf(chat.window()), title);
    QCOMPARE(xProperty(chat.window(), "_NET_WM_PID").toLongLong(), chat.windowProcessId());
    const QRect placed = frameOriginAndClientSize(chat.window());
    QVERIFY2(qAbs(placed.x() - geometry.x()) <= 2 && qAbs(placed.y() - geometry.y()) <= 2 &&
                 placed.size() == geometry.size(),
             qPrintable(QDebug::toString(placed)));

    QVERIFY(activate(chat));
    QVERIFY(waitFor([&] { return lastActive(chat, true); }));

    // xdotool types what the keyboard map lacks by changing the map, which GTK sometimes reads
    // too late and drops a character: the text that is not ASCII comes by the clipboard below.
    const QString typed = "Hello, world";
    QVERIFY(xdotool({"type", typed}));
    QVERIFY2(waitFor([&] { return chat.text() == typed; }), qPrintable(chat.text()));

    // Enter, keypad Enter and Ctrl+Enter each send once and leave the text as it is.
    const QList<std::pair<QString, bool>> enters = {
        {"Return", false}, {"KP_Enter", false}, {"ctrl+Return", true}};
    for (const auto& [key, ctrl] : enters) {
        const qsizetype texts = count(chat, "text");
        const qsizetype before = count(chat, "enter");
        QVERIFY(xdotool({"key", key}));
        QVERIFY2(waitFor([&] { return count(chat, "enter") > before; }), qPrintable(key));
        QTest::qWait(300); // a second one, or a newline, would have come by now
        QCOMPARE(count(chat, "enter"), before + 1);
        const QJsonObject enter = chat.events("enter").last();
        QVERIFY(enter.value("ctrl").isBool());
        QCOMPARE(enter.value("ctrl").toBool(), ctrl);
        QCOMPARE(enter.value("text").toString(), typed);
        QCOMPARE(count(chat, "text"), texts);
        QCOMPARE(chat.text(), typed);
    }

    chat.command("clear");
    QVERIFY(waitFor([&] { return chat.text().isEmpty(); }));
    const QString renamed = "会话 2";
    chat.command("title " + renamed);
    QVERIFY(waitFor([&] { return titleOf(chat.window()) == renamed; }));

    // It still types after the commands: they were all read, none swallowed the others.
    QVERIFY(xdotool({"type", "ok"}));
    QVERIFY(waitFor([&] { return chat.text() == "ok"; }));

    const quint64 window = chat.window();
    const qint64 owner = chat.windowProcessId();
    started.restart();
    QVERIFY(chat.stop());
    qInfo("%s: stopped in %lld ms", qPrintable(name), started.elapsed());
    QCOMPARE(chat.events().last().value("event").toString(), QString("quit"));
    // Nothing is left behind: for Chromium, the browser the launcher started is gone too.
    QVERIFY(waitFor([&] { return !QFileInfo::exists(QString("/proc/%1").arg(owner)); }));
    QVERIFY(!run("xwininfo", {"-id", QString::number(window)}).ok);
}

void TestStandInsE2e::pasteThenEnter_data()
{
    QTest::addColumn<Toolkit>("toolkit");
    QTest::addColumn<bool>("waitsForClipboard");
    // The clipboard's owner is busy until well after both keys, so there is no race: a toolkit
    // that waits for the clipboard handles Enter after the paste, one that does not, before it.
    for (const Toolkit toolkit : {Toolkit::Qt, Toolkit::Gtk, Toolkit::Chromium})
        QTest::newRow(qPrintable(StubChatProcess::toolkitName(toolkit)))
            << toolkit << (toolkit != Toolkit::Gtk);
}

// Ctrl+V and, straight after it, Enter: does the Enter see the pasted text?
void TestStandInsE2e::pasteThenEnter()
{
    QFETCH(Toolkit, toolkit);
    QFETCH(bool, waitsForClipboard);
    const QString name = "Paste" + StubChatProcess::toolkitName(toolkit);
    StubChatProcess chat(name, name, QRect(200, 150, 500, 300), toolkit);
    QVERIFY(chat.start());
    QVERIFY(activate(chat));

    constexpr int Tries = 5;
    QClipboard* clipboard = QGuiApplication::clipboard();
    int sawNothing = 0;
    int sawPaste = 0;
    for (int i = 0; i < Tries; ++i) {
        // Only a box with text in it, so that the wait sees the command done.
        if (!chat.text().isEmpty()) {
            chat.command("clear");
            QVERIFY(waitFor([&] { return chat.text().isEmpty(); }));
        }
        const QString pasted = QString("粘贴 paste %1").arg(i);
        clipboard->setText(pasted);
        QVERIFY(clipboard->ownsClipboard());
        const qsizetype before = count(chat, "enter");

        // No event loop meanwhile: the request for the clipboard waits in the queue.
        QProcess keyPresses;
        keyPresses.start("xdotool", {"key", "--clearmodifiers", "ctrl+v", "Return"});
        QVERIFY(keyPresses.waitForFinished(10000));
        QCOMPARE(keyPresses.exitCode(), 0);
        QThread::msleep(150);
        QVERIFY2(waitFor([&] { return count(chat, "enter") > before && chat.text() == pasted; }),
                 qPrintable(QString("try %1: text \"%2\"").arg(i).arg(chat.text())));
        QCOMPARE(count(chat, "enter"), before + 1);
        // Either before the paste or after it, never part-way through.
        const QString seen = chat.events("enter").last().value("text").toString();
        QVERIFY2(seen.isEmpty() || seen == pasted, qPrintable(seen));
        ++(seen.isEmpty() ? sawNothing : sawPaste);
    }
    QCOMPARE(sawPaste, waitsForClipboard ? Tries : 0);
    QCOMPARE(sawNothing, waitsForClipboard ? 0 : Tries);
}

// A Qt, a GTK and two Chromium stand-ins at the same time: each reports its own window, takes
// its own typing and tells when it is in front and when not.
void TestStandInsE2e::severalKindsAtOnce()
{
    StubChatProcess qt("TogetherQt", "Qt 窗口", QRect(20, 20, 460, 300), Toolkit::Qt);
    StubChatProcess gtk("TogetherGtk", "Gtk 窗口", QRect(520, 20, 460, 300), Toolkit::Gtk);
    StubChatProcess first("TogetherChromiumA", "Chromium 甲", QRect(20, 420, 460, 300),
                          Toolkit::Chromium);
    StubChatProcess second("TogetherChromiumB", "Chromium 乙", QRect(520, 420, 460, 300),
                           Toolkit::Chromium);
    const QList<StubChatProcess*> chats = {&qt, &gtk, &first, &second};
    for (StubChatProcess* chat : chats)
        QVERIFY2(chat->start(), qPrintable(chat->className()));

    QSet<quint64> windows;
    for (StubChatProcess* chat : chats) {
        windows << chat->window();
        QCOMPARE(quotedStrings(xProperty(chat->window(), "WM_CLASS")).value(1), chat->className());
        QCOMPARE(titleOf(chat->window()), chat->title());
    }
    QCOMPARE(windows.size(), chats.size());

    StubChatProcess* previous = nullptr;
    for (StubChatProcess* chat : chats) {
        QVERIFY2(activate(*chat), qPrintable(chat->className()));
        QVERIFY2(waitFor([&] { return lastActive(*chat, true); }), qPrintable(chat->className()));
        if (previous) {
            QVERIFY2(waitFor([&] { return lastActive(*previous, false); }),
                     qPrintable(previous->className()));
        }
        QVERIFY(xdotool({"type", chat->className()}));
        QVERIFY2(waitFor([&] { return chat->text() == chat->className(); }),
                 qPrintable(chat->className() + ": " + chat->text()));
        previous = chat;
    }
    // Each got only its own.
    for (StubChatProcess* chat : chats)
        QCOMPARE(chat->text(), chat->className());
}

QTEST_MAIN(TestStandInsE2e)
#include "tst_standins_e2e.moc"
