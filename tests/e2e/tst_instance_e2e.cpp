#include "app/SingleInstance.h"
#include "support/ProgramRun.h"

#include <QLocalSocket>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <future>

// The real program started twice on one program folder, under a real X server.
class TestInstance : public QObject {
    Q_OBJECT
private slots:
    void aRunningPanelIsAskedToShowItself();
    void aSecondStartHandsOverAndAStaleLockIsTakenOver();

private:
    static void startPanel(QProcess& p, const QString& folder)
    {
        p.setProcessChannelMode(QProcess::ForwardedChannels);
        p.start(QStringLiteral(QUILLMATE_EXE), {QStringLiteral("--data-dir"), folder});
        QVERIFY(p.waitForStarted());
    }
    // The panel listens once it holds the folder.
    static bool listening(const QString& folder)
    {
        QLocalSocket probe;
        probe.connectToServer(SingleInstance::serverName(folder));
        return probe.waitForConnected(200);
    }
};

void TestInstance::aRunningPanelIsAskedToShowItself()
{
    QTemporaryDir dir;
    SingleInstance first(dir.path());
    QCOMPARE(first.claim(), SingleInstance::Outcome::First);
    QSignalSpy shows(&first, &SingleInstance::showRequested);
    // The asking side blocks, as a second program does; this one keeps its event loop running.
    std::future<bool> asked =
        std::async(std::launch::async, [&] { return SingleInstance::askToShow(dir.path()); });
    QTRY_COMPARE(shows.count(), 1);
    QVERIFY(asked.get());
    QVERIFY(!SingleInstance::askToShow(dir.path() + QStringLiteral("/other")));
}

void TestInstance::aSecondStartHandsOverAndAStaleLockIsTakenOver()
{
    QTemporaryDir dir;
    QProcess first;
    startPanel(first, dir.path());
    QTRY_VERIFY_WITH_TIMEOUT(listening(dir.path()), 20000);

    const QString program = QStringLiteral(QUILLMATE_EXE);
    QCOMPARE(runProgram(program, {"--data-dir", dir.path()}).code, 0);
    QCOMPARE(first.state(), QProcess::Running);

    // Commands still work beside a running panel.
    QCOMPARE(runProgram(program, {"--data-dir", dir.path(), "search", "x"}).code, 0);

    // A crash leaves the lock file and the socket behind; the next start takes both over.
    first.kill();
    QVERIFY(first.waitForFinished(5000));
    QVERIFY(QFile::exists(SingleInstance::lockPath(dir.path())));
    QProcess third;
    startPanel(third, dir.path());
    QTRY_VERIFY_WITH_TIMEOUT(listening(dir.path()), 20000);
    QCOMPARE(third.state(), QProcess::Running);
    third.kill();
    third.waitForFinished(5000);
}

QTEST_GUILESS_MAIN(TestInstance)
#include "tst_instance_e2e.moc"
