#include "settings/AutoStart.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

// The login entry as the desktop reads it, in a private configuration folder.
class TestAutoStart : public QObject {
    Q_OBJECT
private slots:
    void entryIsWrittenQuotedAndRemoved();
    void aFolderThatCannotHoldTheEntryIsTold();

private:
    QTemporaryDir m_config;
};

void TestAutoStart::entryIsWrittenQuotedAndRemoved()
{
    qputenv("XDG_CONFIG_HOME", m_config.path().toUtf8());
    // Characters an Exec line gives a meaning: blanks, quotes, $, ` and backslashes, and %.
    AutoStart autoStart(QStringLiteral("/opt/客服 Tavro/quillmate"),
                        QStringLiteral("/home/a/100% \"data\" $HOME `x` \\y"));
    QVERIFY(!autoStart.isEnabled());
    QVERIFY(autoStart.setEnabled(true).ok());
    QVERIFY(autoStart.isEnabled());
    QCOMPARE(AutoStart::linuxEntryPath(), m_config.filePath("autostart/quillmate.desktop"));
    QFile entry(AutoStart::linuxEntryPath());
    QVERIFY(entry.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromUtf8(entry.readAll()).split(u'\n');
    QVERIFY(lines.contains("[Desktop Entry]"));
    QVERIFY(lines.contains("Type=Application"));
    QVERIFY(lines.contains(QStringLiteral("Exec=\"/opt/客服 Tavro/quillmate\" --data-dir "
                                          "\"/home/a/100%% \\\"data\\\" \\$HOME \\`x\\` \\\\y\" "
                                          "--autostart")));
    entry.close();
    QVERIFY(autoStart.setEnabled(false).ok());
    QVERIFY(!autoStart.isEnabled());
    QVERIFY(!QFile::exists(AutoStart::linuxEntryPath()));
    QVERIFY(autoStart.setEnabled(false).ok());
}

void TestAutoStart::aFolderThatCannotHoldTheEntryIsTold()
{
    // The configuration folder is a file: no entry can be made, and the agent is told.
    const QString blocker = m_config.filePath("not-a-folder");
    QFile file(blocker);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    qputenv("XDG_CONFIG_HOME", blocker.toUtf8());
    const Result<void> done =
        AutoStart(QStringLiteral("/usr/bin/quillmate"), "/d").setEnabled(true);
    QVERIFY(!done.ok());
    QVERIFY2(done.message().contains(blocker), qPrintable(done.message()));
}

QTEST_GUILESS_MAIN(TestAutoStart)
#include "tst_autostart.moc"
