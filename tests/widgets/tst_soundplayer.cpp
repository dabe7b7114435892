#include "data/DataRoot.h"
#include "support/Files.h"
#include "support/FixtureRows.h"
#include "support/TestRoot.h"
#include "widgets/SoundPlayer.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

// An executable stand-in for a player: only its name and its executable bit matter.
void writeExecutable(const QString& path)
{
    QVERIFY(writeBytes(path, "#!/bin/sh\nexit 0\n"));
    QVERIFY(QFile::setPermissions(path, QFile::permissions(path) | QFileDevice::ExeOwner));
}

} // namespace

class TestSoundPlayer : public QObject {
    Q_OBJECT
private slots:
    void promptSound_data() { fixtureData("prompt-sound.txt"); }
    void promptSound();
    void folderNamedLikeTheSoundIsNoSound();
    void playerCommand();
};

// A row of prompt-sound.txt: MessageSound, whether sound.wav is there, whether it plays.
void TestSoundPlayer::promptSound()
{
    QFETCH(QStringList, row);

    TestRoot root(false);
    QVERIFY(root.ok());
    const DataRoot dataRoot(root.dir.path());
    const QString soundPath = root.path(QStringLiteral("sound.wav"));
    if (row.value(2) == "1")
        QVERIFY(writeBytes(soundPath, "RIFF"));
    QVERIFY(root.settings->setValue(Setting::MessageSound, row.value(1)).ok());

    QCOMPARE(SoundPlayer::promptSound(*root.settings, dataRoot),
             row.value(3) == "1" ? dataRoot.filePath(QStringLiteral("sound.wav")) : QString());
}

void TestSoundPlayer::folderNamedLikeTheSoundIsNoSound()
{
    QTemporaryDir dir;
    QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("sound.wav")));
    QCOMPARE(SoundPlayer::promptSound(true, dir.filePath(QStringLiteral("sound.wav"))), QString());
}

void TestSoundPlayer::playerCommand()
{
#ifdef Q_OS_WIN
    QSKIP("Windows plays through the system's own call, without a player program");
#endif
    QTemporaryDir both;
    QTemporaryDir aplayOnly;
    QTemporaryDir none;
    writeExecutable(both.filePath(QStringLiteral("paplay")));
    writeExecutable(both.filePath(QStringLiteral("aplay")));
    writeExecutable(aplayOnly.filePath(QStringLiteral("aplay")));
    // A player that may not be run does not count.
    QVERIFY(writeBytes(none.filePath(QStringLiteral("paplay")), "not executable"));

    const QString sound = QStringLiteral("/data/sound.wav");
    QCOMPARE(SoundPlayer::playerCommand(sound, {both.path()}),
             (QStringList{both.filePath(QStringLiteral("paplay")), sound}));
    QCOMPARE(
        SoundPlayer::playerCommand(sound, {aplayOnly.path()}),
        (QStringList{aplayOnly.filePath(QStringLiteral("aplay")), QStringLiteral("-q"), sound}));
    QCOMPARE(SoundPlayer::playerCommand(sound, {none.path()}), QStringList());
    QCOMPARE(SoundPlayer::playerCommand(sound, {aplayOnly.path(), both.path()}).first(),
             both.filePath(QStringLiteral("paplay")));
}

QTEST_GUILESS_MAIN(TestSoundPlayer)
#include "tst_soundplayer.moc"
