#include "data/GbkCodec.h"
#include "data/IniFile.h"
#include "data/Settings.h"
#include "data/SettingsTable.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSignalSpy>
#include <QStringDecoder>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <optional>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace {

// The default config.ini as installed files have it, written out by hand.
const QStringList& expectedDefaultLines()
{
    static const QStringList lines = {
        QStringLiteral("[Set]"),
        QStringLiteral("StartCommon=1"),
        QStringLiteral("StartProductKnowledge=1"),
        QStringLiteral("StartGoodsType=1"),
        QStringLiteral("StartProduct=1"),
        QStringLiteral("StartCompanyAffairs=1"),
        QStringLiteral("StartExpress=1"),
        QStringLiteral("StartTop=1"),
        QStringLiteral("StartInterface=1"),
        QStringLiteral("DbClickChat=1"),
        QStringLiteral("EndNewLineOne=1"),
        QStringLiteral("EndNewLineTwo=0"),
        QStringLiteral("SendCaptionDesc=0"),
        QStringLiteral("AutoPressSendKey=0|CtrlEnter"),
        QStringLiteral("StartHotKey=0"),
        QStringLiteral("DefaultShowHotKeyContent =1"),
        QStringLiteral("AddHotKeyEndNewLine=0"),
        QStringLiteral("QueryShowSimpleFlag=1"),
        QStringLiteral("QueryShowFileFlag=1"),
        QStringLiteral("QueryShowToolsFlag=1"),
        QStringLiteral("QueryShowPersonalFlag=1"),
        QStringLiteral("StartLoadSimple=1"),
        QStringLiteral("StartLoadFile=1"),
        QStringLiteral("StartLoadTools=1"),
        QStringLiteral("StartLoadPersonal=1"),
        QStringLiteral("TypeDelMode=1"),
        QStringLiteral("MainNewAfterFlag=0"),
        QStringLiteral("StartLoadQuery=0"),
        QStringLiteral("MessageSound=1"),
        QStringLiteral("CloseMainNewEditPrompt=1"),
        QStringLiteral("QueryBarShowFlag=1"),
        QStringLiteral("KeepInputFocus=1"),
        QStringLiteral("DatabasePath="),
        QStringLiteral("BackupInitPath="),
        QStringLiteral("BackupInitPathPer="),
        QStringLiteral("Sort=1"),
        QStringLiteral("MainFontSize=small"),
        QStringLiteral("XiFuQQ=1"),
        QStringLiteral("XiFuWeiXin=1"),
        QStringLiteral("XiFuQiYeWeiXin=1"),
        QStringLiteral("XiFuQianNiu=1"),
        QStringLiteral("XiFuWangWang=1"),
        QStringLiteral("XiFuDingDing=1"),
        QStringLiteral("XiFuBaiduShangQiao=1"),
        QStringLiteral("XiFuMainShowPos=2"),
        QStringLiteral("LeftAndRightHideMini=1"),
        QStringLiteral("WinToolTip=1"),
        QStringLiteral("TreeToolTip=0"),
        QStringLiteral("MainStartTopSize=360"),
        QStringLiteral("StartMainWidth=4500"),
        QStringLiteral("StartMainHeight=9450"),
        QStringLiteral("CustomSortInitialize=0"),
        QStringLiteral("FileTitleExtName=1"),
        QStringLiteral("ToolsTitleExtName=0"),
        QStringLiteral("[HotKey]"),
        QStringLiteral("K1=F1"),
        QStringLiteral("K1KeyCode=112"),
        QStringLiteral("k1ModKeyCode=0"),
        QStringLiteral("K1SendContent="),
        QStringLiteral("K1CaptionDescFlag=0"),
        QStringLiteral("K2=F2"),
        QStringLiteral("K2KeyCode=113"),
        QStringLiteral("k2ModKeyCode=0"),
        QStringLiteral("K2SendContent="),
        QStringLiteral("K2CaptionDescFlag=0"),
        QStringLiteral("K3=F3"),
        QStringLiteral("K3KeyCode=114"),
        QStringLiteral("k3ModKeyCode=0"),
        QStringLiteral("K3SendContent="),
        QStringLiteral("K3CaptionDescFlag=0"),
        QStringLiteral("K4=F4"),
        QStringLiteral("K4KeyCode=115"),
        QStringLiteral("k4ModKeyCode=0"),
        QStringLiteral("K4SendContent="),
        QStringLiteral("K4CaptionDescFlag=0"),
        QStringLiteral("K5=F5"),
        QStringLiteral("K5KeyCode=116"),
        QStringLiteral("k5ModKeyCode=0"),
        QStringLiteral("K5SendContent="),
        QStringLiteral("K5CaptionDescFlag=0"),
        QStringLiteral("K6=F6"),
        QStringLiteral("K6KeyCode=117"),
        QStringLiteral("k6ModKeyCode=0"),
        QStringLiteral("K6SendContent="),
        QStringLiteral("K6CaptionDescFlag=0"),
        QStringLiteral("K7=F7"),
        QStringLiteral("K7KeyCode=118"),
        QStringLiteral("k7ModKeyCode=0"),
        QStringLiteral("K7SendContent="),
        QStringLiteral("K7CaptionDescFlag=0"),
        QStringLiteral("K8=F8"),
        QStringLiteral("K8KeyCode=119"),
        QStringLiteral("k8ModKeyCode=0"),
        QStringLiteral("K8SendContent="),
        QStringLiteral("K8CaptionDescFlag=0"),
        QStringLiteral("K9=F9"),
        QStringLiteral("K9KeyCode=120"),
        QStringLiteral("k9ModKeyCode=0"),
        QStringLiteral("K9SendContent="),
        QStringLiteral("K9CaptionDescFlag=0"),
        QStringLiteral("K10=F10"),
        QStringLiteral("K10KeyCode=121"),
        QStringLiteral("k10ModKeyCode=0"),
        QStringLiteral("K10SendContent="),
        QStringLiteral("K10CaptionDescFlag=0"),
        QStringLiteral("K11=F11"),
        QStringLiteral("K11KeyCode=122"),
        QStringLiteral("k11ModKeyCode=0"),
        QStringLiteral("K11SendContent="),
        QStringLiteral("K11CaptionDescFlag=0"),
        QStringLiteral("K12=Ctrl + F12"),
        QStringLiteral("K12KeyCode=123"),
        QStringLiteral("k12ModKeyCode=2"),
        QStringLiteral("K12SendContent="),
        QStringLiteral("K12CaptionDescFlag=0"),
    };
    return lines;
}

QByteArray platformEol()
{
#ifdef Q_OS_WIN
    return "\r\n";
#else
    return "\n";
#endif
}

// Section -> lower-case key -> value, from lines of the default file's shape.
using IniMap = QHash<QString, QHash<QString, QString>>;

IniMap toMap(const QStringList& lines)
{
    IniMap map;
    QString section;
    for (const QString& line : lines) {
        if (line.startsWith(QLatin1Char('['))) {
            section = line.mid(1, line.size() - 2).toLower();
            continue;
        }
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        map[section][line.first(equals).trimmed().toLower()] = line.sliced(equals + 1);
    }
    return map;
}

// What a file that lacks every key reads as: the written values, except for seven keys whose
// absence the program has always read differently.
IniMap expectedReadDefaults()
{
    IniMap map = toMap(expectedDefaultLines());
    QHash<QString, QString>& set = map[QStringLiteral("set")];
    set[QStringLiteral("endnewlinetwo")] = QStringLiteral("1");
    set[QStringLiteral("starthotkey")] = QStringLiteral("1");
    set[QStringLiteral("addhotkeyendnewline")] = QStringLiteral("1");
    set[QStringLiteral("closemainneweditprompt")] = QStringLiteral("0");
    set[QStringLiteral("leftandrighthidemini")] = QStringLiteral("0");
    set[QStringLiteral("mainstarttopsize")] = QStringLiteral("80");
    set[QStringLiteral("startmainheight")] = QStringLiteral("7380");
    // A hot key missing from the file is unset.
    QHash<QString, QString>& hotKeys = map[QStringLiteral("hotkey")];
    for (int n = 1; n <= HotKeyCount; ++n) {
        hotKeys[QStringLiteral("k%1").arg(n)] = QStringLiteral("无");
        hotKeys[QStringLiteral("k%1keycode").arg(n)] = QStringLiteral("0");
        hotKeys[QStringLiteral("k%1modkeycode").arg(n)] = QStringLiteral("0");
    }
    return map;
}

// Checks every [Set] and [HotKey] value of the settings against the expected map.
void compareAll(const Settings& settings, const IniMap& expected)
{
    const auto& set = expected[QStringLiteral("set")];
    // Keys a user adds by hand (custom chat windows) are not in the default file and read empty.
    int written = 0;
    for (int i = 0; i < SettingCount; ++i)
        written += SettingsTable::def(static_cast<Setting>(i)).inDefaultFile ? 1 : 0;
    QCOMPARE(set.size(), written);
    for (int i = 0; i < SettingCount; ++i) {
        const auto setting = static_cast<Setting>(i);
        const QString key = SettingsTable::key(setting).toLower();
        if (!SettingsTable::def(setting).inDefaultFile) {
            QCOMPARE(settings.value(setting),
                     QString::fromLatin1(SettingsTable::def(setting).readDefault));
            continue;
        }
        QVERIFY2(set.contains(key), qPrintable(key));
        QCOMPARE(settings.value(setting), set[key]);
    }
    const auto& hotKeys = expected[QStringLiteral("hotkey")];
    QCOMPARE(hotKeys.size(), HotKeyCount * HotKeyFieldCount);
    for (int n = 1; n <= HotKeyCount; ++n) {
        for (int f = 0; f < HotKeyFieldCount; ++f) {
            const auto field = static_cast<HotKeyField>(f);
            const QString key = SettingsTable::hotKeyKey(n, field).toLower();
            QVERIFY2(hotKeys.contains(key), qPrintable(key));
            QCOMPARE(settings.hotKey(n, field), hotKeys[key]);
        }
    }
}

QByteArray readBytes(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray toGbk(const QString& text)
{
    QByteArray bytes;
    for (const char32_t codePoint : text.toUcs4()) {
        const auto encoded = GbkCodec::encodeCodePoint(codePoint);
        if (!encoded)
            return {};
        bytes += *encoded;
    }
    return bytes;
}

bool isValidUtf8(const QByteArray& bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    // The decoder converts only when its result becomes a QString.
    const QString text = decoder.decode(bytes);
    Q_UNUSED(text)
    return !decoder.hasError();
}

// Root writes into read-only folders, so permission failures can only be provoked without it.
bool permissionsAreEnforced()
{
#ifdef Q_OS_UNIX
    return ::geteuid() != 0;
#else
    return false;
#endif
}

// A folder nobody may write to for the life of the object; writable again afterwards so that the
// temporary folder can be removed.
class ReadOnlyFolder {
public:
    explicit ReadOnlyFolder(QString path) : m_path(std::move(path))
    {
        QDir().mkpath(m_path);
        QFile::setPermissions(m_path, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    }
    ~ReadOnlyFolder()
    {
        QFile::setPermissions(m_path, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                          QFileDevice::ExeOwner);
    }
    ReadOnlyFolder(const ReadOnlyFolder&) = delete;
    ReadOnlyFolder& operator=(const ReadOnlyFolder&) = delete;

private:
    QString m_path;
};

} // namespace

class TestSettings : public QObject {
    Q_OBJECT

private slots:
    void defaultFileIsByteExact();
    void ensureFileLeavesAnExistingFileAlone();
    void deletedFileIsRecreated();
    void fileThatCannotBeCreated_data();
    void fileThatCannotBeCreated();
    void missingFileCannotBeLoaded();

    void defaultFileReadsItsWrittenValues();
    void absentKeysReadTheirReadDefaults_data();
    void absentKeysReadTheirReadDefaults();

    void readRules_data();
    void readRules();
    void readingAMissingFileGivesDefaults();

    void integers_data();
    void integers();
    void flagsReadByTheirKeysRule();
    void autoPressSendKey_data();
    void autoPressSendKey();

    void writeRules_data();
    void writeRules();
    void writingAMissingFileCreatesIt();
    void lineBreaksAreRefused();
    void failedWriteLeavesTheFile_data();
    void failedWriteLeavesTheFile();

    void setValueChangesOnlyItsLine_data();
    void setValueChangesOnlyItsLine();
    void setHotKeyWritesAndSignals();
    void setValueKeepsWhatOthersWrote();
    void setValueKeepsTheValueAsReadBack();
    void hotKeyOutOfRange();
    void gbkFileIsReadAndRewrittenAsUtf8();
};

void TestSettings::defaultFileIsByteExact()
{
    QCOMPARE(SettingsTable::defaultFileLines(), expectedDefaultLines());

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    // The folder does not exist yet: ensureFile creates it.
    const QString path = dir.filePath(QStringLiteral("Quillmate/config.ini"));
    QVERIFY(Settings::ensureFile(path).ok());

    QByteArray expected;
    for (const QString& line : expectedDefaultLines())
        expected += line.toUtf8() + platformEol();
    QCOMPARE(readBytes(path), expected);
}

void TestSettings::ensureFileLeavesAnExistingFileAlone()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));

    QVERIFY(Settings::ensureFile(path).ok());
    const QByteArray first = readBytes(path);
    QVERIFY(Settings::ensureFile(path).ok());
    QCOMPARE(readBytes(path), first);

    const QByteArray own = "; mine\r\n[Set]\r\nStartTop=0\r\n";
    QVERIFY(writeBytes(path, own));
    QVERIFY(Settings::ensureFile(path).ok());
    QCOMPARE(readBytes(path), own);
}

void TestSettings::deletedFileIsRecreated()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(Settings::ensureFile(path).ok());
    const QByteArray defaults = readBytes(path);

    QVERIFY(writeBytes(path, "[Set]\nStartTop=0\n"));
    QVERIFY(QFile::remove(path));
    QVERIFY(Settings::ensureFile(path).ok());
    QCOMPARE(readBytes(path), defaults);

    Settings settings(path);
    QVERIFY(settings.load().ok());
    QCOMPARE(settings.value(Setting::StartTop), QStringLiteral("1"));
}

void TestSettings::fileThatCannotBeCreated_data()
{
    QTest::addColumn<bool>("needsPermissions");
    QTest::addColumn<QString>("blocker");    // made read-only, or a plain file
    QTest::addColumn<QString>("configPath"); // relative to the temporary folder

    QTest::newRow("folder is a plain file")
        << false << QStringLiteral("blocker") << QStringLiteral("blocker/config.ini");
    QTest::newRow("read-only folder")
        << true << QStringLiteral("locked") << QStringLiteral("locked/config.ini");
    QTest::newRow("missing folder inside a read-only one")
        << true << QStringLiteral("locked") << QStringLiteral("locked/sub/config.ini");
}

void TestSettings::fileThatCannotBeCreated()
{
    QFETCH(bool, needsPermissions);
    QFETCH(QString, blocker);
    QFETCH(QString, configPath);
    if (needsPermissions && !permissionsAreEnforced())
        QSKIP("folder permissions do not hold for this user");

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(configPath);
    std::optional<ReadOnlyFolder> locked;
    if (needsPermissions)
        locked.emplace(dir.filePath(blocker));
    else
        QVERIFY(writeBytes(dir.filePath(blocker), "not a folder"));

    const Result<void> ensured = Settings::ensureFile(path);
    QVERIFY(!ensured.ok());
    // The reason follows on its own line.
    QVERIFY2(ensured.message().startsWith(QStringLiteral("配置文件不存在！\n无法写入配置文件 ") +
                                          QDir::toNativeSeparators(path) + QStringLiteral("：")),
             qPrintable(ensured.message()));
    QVERIFY(!QFileInfo::exists(path));

    Settings settings(path);
    QCOMPARE(settings.load().message(), QStringLiteral("配置文件不存在！"));
}

void TestSettings::missingFileCannotBeLoaded()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    Settings settings(dir.filePath(QStringLiteral("config.ini")));
    const Result<void> loaded = settings.load();
    QVERIFY(!loaded.ok());
    QCOMPARE(loaded.message(), QStringLiteral("配置文件不存在！"));
}

void TestSettings::defaultFileReadsItsWrittenValues()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(Settings::ensureFile(path).ok());
    Settings settings(path);
    QVERIFY(settings.load().ok());
    // Covers the key written with a blank before "=" and the lower-case modifier keys.
    compareAll(settings, toMap(expectedDefaultLines()));
}

void TestSettings::absentKeysReadTheirReadDefaults_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("load");

    QTest::newRow("only [Set]") << QByteArray("[Set]\n") << true;
    QTest::newRow("empty file") << QByteArray() << true;
    QTest::newRow("keys outside their sections")
        << QByteArray("StartMainHeight=1\n[Other]\nMainStartTopSize=2\nK1=F9\n") << true;
    QTest::newRow("not loaded yet") << QByteArray("[Set]\nStartMainHeight=1\n") << false;
}

void TestSettings::absentKeysReadTheirReadDefaults()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, load);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(writeBytes(path, content));
    Settings settings(path);
    if (load)
        QVERIFY(settings.load().ok());

    compareAll(settings, expectedReadDefaults());
    QCOMPARE(settings.integer(Setting::StartMainHeight), 7380);
    QCOMPARE(settings.integer(Setting::MainStartTopSize), 80);
    QCOMPARE(settings.integer(Setting::StartMainWidth), 4500);
    QVERIFY(settings.flag(Setting::EndNewLineTwo));
    QVERIFY(!settings.flag(Setting::CloseMainNewEditPrompt));
}

void TestSettings::readRules_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("section");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("fallback");
    QTest::addColumn<QString>("expected");

    const QString set = QStringLiteral("Set");
    const QString key = QStringLiteral("StartTop");
    const QString fallback = QStringLiteral("default");

    QTest::newRow("plain") << QByteArray("[Set]\nStartTop=0\n") << set << key << fallback
                           << QStringLiteral("0");
    QTest::newRow("names in other case")
        << QByteArray("[SET]\nstarttop=0\n") << set << key << fallback << QStringLiteral("0");
    QTest::newRow("blanks and tabs around key and value")
        << QByteArray("  [ Set ]\n \tStartTop \t=\t 0 x \t\n") << set << key << fallback
        << QStringLiteral("0 x");
    QTest::newRow("present but empty")
        << QByteArray("[Set]\nStartTop=\n") << set << key << fallback << QString();
    QTest::newRow("present but blank")
        << QByteArray("[Set]\nStartTop=  \n") << set << key << fallback << QString();
    QTest::newRow("absent key") << QByteArray("[Set]\nStartTo=0\nStartTopX=0\n") << set << key
                                << fallback << fallback;
    QTest::newRow("absent section")
        << QByteArray("[Settings]\nStartTop=0\n") << set << key << fallback << fallback;
    QTest::newRow("key of another section") << QByteArray("[HotKey]\nStartTop=0\n[Set]\nOther=1\n")
                                            << set << key << fallback << fallback;
    QTest::newRow("key before any section")
        << QByteArray("StartTop=0\n[Set]\n") << set << key << fallback << fallback;
    QTest::newRow("first occurrence wins") << QByteArray("[Set]\nStartTop=0\nStartTop=1\n") << set
                                           << key << fallback << QStringLiteral("0");
    QTest::newRow("first section wins") << QByteArray("[Set]\nA=1\n[HotKey]\n[Set]\nStartTop=0\n")
                                        << set << key << fallback << fallback;
    QTest::newRow("comment lines are skipped")
        << QByteArray("[Set]\n;StartTop=0\n  ; StartTop=2\nStartTop=1\n") << set << key << fallback
        << QStringLiteral("1");
    QTest::newRow("lines without = are skipped") << QByteArray("[Set]\nStartTop\nStartTop=1\n")
                                                 << set << key << fallback << QStringLiteral("1");
    QTest::newRow("value holding =")
        << QByteArray("[Set]\nStartTop=a=b\n") << set << key << fallback << QStringLiteral("a=b");
    QTest::newRow("CRLF line ends")
        << QByteArray("[Set]\r\nStartTop=0\r\n") << set << key << fallback << QStringLiteral("0");
    QTest::newRow("last line without line end")
        << QByteArray("[Set]\nStartTop=0") << set << key << fallback << QStringLiteral("0");
    QTest::newRow("UTF-8 byte order mark") << QByteArray("\xEF\xBB\xBF[Set]\nStartTop=0\n") << set
                                           << key << fallback << QStringLiteral("0");
    QTest::newRow("UTF-8 text") << QByteArray("[Set]\nStartTop=\xE5\xAE\xA2\xE6\x9C\x8D\n") << set
                                << key << fallback << QStringLiteral("客服");

    const QString longValue(300, QLatin1Char('v'));
    QTest::newRow("300 characters read as 254")
        << (QByteArray("[Set]\nStartTop=") + longValue.toUtf8() + '\n') << set << key << fallback
        << longValue.first(254);
    QTest::newRow("254 characters stay whole")
        << (QByteArray("[Set]\nStartTop=") + longValue.first(254).toUtf8()) << set << key
        << fallback << longValue.first(254);
    QTest::newRow("a long default is cut as well")
        << QByteArray("[Set]\n") << set << key << longValue << longValue.first(254);
    const QString pairAtCut = QString(253, QLatin1Char('v')) + QStringLiteral("😀");
    QTest::newRow("cut does not split a surrogate pair")
        << (QByteArray("[Set]\nStartTop=") + pairAtCut.toUtf8()) << set << key << fallback
        << pairAtCut.first(253);
}

void TestSettings::readRules()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, section);
    QFETCH(QString, key);
    QFETCH(QString, fallback);
    QFETCH(QString, expected);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(writeBytes(path, content));
    IniFile ini(path);
    QVERIFY(ini.load().ok());
    QCOMPARE(ini.readIni(section, key, fallback), expected);
}

void TestSettings::readingAMissingFileGivesDefaults()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    IniFile ini(dir.filePath(QStringLiteral("config.ini")));
    QVERIFY(ini.load().ok());
    QCOMPARE(ini.readIni(QStringLiteral("Set"), QStringLiteral("A"), QStringLiteral("x")),
             QStringLiteral("x"));
    QCOMPARE(ini.lineEnding(), QString::fromLatin1(platformEol()));
}

void TestSettings::integers_data()
{
    QTest::addColumn<Setting>("setting");
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<int>("expected");

    QTest::newRow("number") << Setting::StartMainWidth << QByteArray("StartMainWidth=5000") << 5000;
    QTest::newRow("number among blanks")
        << Setting::StartMainWidth << QByteArray("StartMainWidth =  6000 ") << 6000;
    QTest::newRow("not a number") << Setting::StartMainWidth << QByteArray("StartMainWidth=wide")
                                  << 4500;
    QTest::newRow("number with trailing text")
        << Setting::StartMainWidth << QByteArray("StartMainWidth=12px") << 4500;
    QTest::newRow("empty") << Setting::StartMainWidth << QByteArray("StartMainWidth=") << 4500;
    QTest::newRow("height not a number")
        << Setting::StartMainHeight << QByteArray("StartMainHeight=x") << 7380;
    QTest::newRow("height written")
        << Setting::StartMainHeight << QByteArray("StartMainHeight=9450") << 9450;
    QTest::newRow("top size absent") << Setting::MainStartTopSize << QByteArray() << 80;
    QTest::newRow("top size not a number")
        << Setting::MainStartTopSize << QByteArray("MainStartTopSize=1e3") << 80;
    // Sizes and places are brought into a range: a huge width made a window nobody could see.
    QTest::newRow("width far too large")
        << Setting::StartMainWidth << QByteArray("StartMainWidth=2147483647") << 60000;
    QTest::newRow("width too small")
        << Setting::StartMainWidth << QByteArray("StartMainWidth=15") << 1500;
    QTest::newRow("top above the screen")
        << Setting::MainStartTopSize << QByteArray("MainStartTopSize=-900") << 0;
    // Other numbers outside their range read as the default.
    QTest::newRow("first tab out of range")
        << Setting::StartInterface << QByteArray("StartInterface=9") << 1;
    QTest::newRow("first tab") << Setting::StartInterface << QByteArray("StartInterface=3") << 3;
    QTest::newRow("negative limit") << Setting::FileMaxSize << QByteArray("FileMaxSize=-3") << 20;
    QTest::newRow("limit among blanks")
        << Setting::PicMaxSize << QByteArray("PicMaxSize = 2 ") << 2;
    QTest::newRow("limit beyond 16 bits")
        << Setting::PicMaxSize << QByteArray("PicMaxSize=40000") << 5;
}

void TestSettings::flagsReadByTheirKeysRule()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(writeBytes(path, "[Set]\nStartTop=yes\nQueryBarShowFlag=1\nDbClickChat=yes\n"
                             "SendCaptionDesc=0\n"));
    Settings settings(path);
    QVERIFY(settings.load().ok());
    // Most flags are on only when "1"; a few are on unless "0".
    QVERIFY(!settings.flag(Setting::StartTop));
    QVERIFY(settings.flag(Setting::QueryBarShowFlag));
    QVERIFY(settings.flag(Setting::DbClickChat));
    QVERIFY(!settings.flag(Setting::SendCaptionDesc));
    // A key that is no flag is never on.
    QVERIFY(!settings.flag(Setting::MainFontSize));
    QVERIFY(settings.setFlag(Setting::StartTop, true).ok());
    QCOMPARE(settings.value(Setting::StartTop), QStringLiteral("1"));
}

void TestSettings::integers()
{
    QFETCH(Setting, setting);
    QFETCH(QByteArray, line);
    QFETCH(int, expected);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(writeBytes(path, "[Set]\n" + line + '\n'));
    Settings settings(path);
    QVERIFY(settings.load().ok());
    QCOMPARE(settings.integer(setting), expected);
}

void TestSettings::autoPressSendKey_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("on");
    QTest::addColumn<QString>("key");

    QTest::newRow("on with Ctrl+Enter")
        << QByteArray("AutoPressSendKey=1|CtrlEnter") << true << QStringLiteral("CtrlEnter");
    QTest::newRow("off with Enter")
        << QByteArray("AutoPressSendKey=0|Enter") << false << QStringLiteral("Enter");
    QTest::newRow("flag only") << QByteArray("AutoPressSendKey=1") << true << QString();
    QTest::newRow("empty key") << QByteArray("AutoPressSendKey=1|") << true << QString();
    QTest::newRow("empty") << QByteArray("AutoPressSendKey=") << false << QString();
    QTest::newRow("flag other than 1")
        << QByteArray("AutoPressSendKey=yes|Enter") << false << QStringLiteral("Enter");
    QTest::newRow("absent") << QByteArray() << false << QStringLiteral("CtrlEnter");
}

void TestSettings::autoPressSendKey()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, on);
    QFETCH(QString, key);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(writeBytes(path, "[Set]\n" + content + '\n'));
    Settings settings(path);
    QVERIFY(settings.load().ok());
    const Settings::SendKey sendKey = settings.autoPressSendKey();
    QCOMPARE(sendKey.on, on);
    QCOMPARE(sendKey.key, key);
}

void TestSettings::writeRules_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QString>("section");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QByteArray>("after");

    const QString set = QStringLiteral("Set");
    const QString hotKey = QStringLiteral("HotKey");

    QTest::newRow("replace in place, keeping the key's spelling")
        << QByteArray("; settings\n[Set]\nX=1\n  startTop\t= 1\nY=2\n") << set
        << QStringLiteral("StartTop") << QStringLiteral("0")
        << QByteArray("; settings\n[Set]\nX=1\n  startTop\t=0\nY=2\n");
    QTest::newRow("replace only the first of two")
        << QByteArray("[Set]\nA=1\nA=2\n") << set << QStringLiteral("a") << QStringLiteral("3")
        << QByteArray("[Set]\nA=3\nA=2\n");
    QTest::newRow("replace with empty")
        << QByteArray("[Set]\nA=1\nB=2\n") << set << QStringLiteral("A") << QString()
        << QByteArray("[Set]\nA=\nB=2\n");
    QTest::newRow("append after the section's last key")
        << QByteArray("[Set]\nA=1\n; about B\nB=2\n\n; hot keys\n[HotKey]\nK1=F1\n") << set
        << QStringLiteral("C") << QStringLiteral("3")
        << QByteArray("[Set]\nA=1\n; about B\nB=2\nC=3\n\n; hot keys\n[HotKey]\nK1=F1\n");
    QTest::newRow("append to a section without keys")
        << QByteArray("[Set]\n; nothing yet\n[HotKey]\n") << set << QStringLiteral("A")
        << QStringLiteral("1") << QByteArray("[Set]\nA=1\n; nothing yet\n[HotKey]\n");
    QTest::newRow("append to a section spelled in other case")
        << QByteArray("[set]\nA=1\n[HotKey]\n") << set << QStringLiteral("B") << QStringLiteral("2")
        << QByteArray("[set]\nA=1\nB=2\n[HotKey]\n");
    QTest::newRow("same key in another section is not the key")
        << QByteArray("[HotKey]\nA=1\n[Set]\nB=1\n") << set << QStringLiteral("A")
        << QStringLiteral("2") << QByteArray("[HotKey]\nA=1\n[Set]\nB=1\nA=2\n");
    QTest::newRow("key before any section is not the key")
        << QByteArray("A=0\n[Set]\nA=1\n") << set << QStringLiteral("A") << QStringLiteral("2")
        << QByteArray("A=0\n[Set]\nA=2\n");
    QTest::newRow("write goes to the first of two sections")
        << QByteArray("[Set]\nA=1\n[HotKey]\n[Set]\nB=1\n") << set << QStringLiteral("B")
        << QStringLiteral("2") << QByteArray("[Set]\nA=1\nB=2\n[HotKey]\n[Set]\nB=1\n");
    QTest::newRow("create a missing section at the end")
        << QByteArray("[Set]\nA=1\n; end\n") << hotKey << QStringLiteral("K1")
        << QStringLiteral("F2") << QByteArray("[Set]\nA=1\n; end\n[HotKey]\nK1=F2\n");
    QTest::newRow("append after a last line without line end")
        << QByteArray("[Set]\nA=1") << set << QStringLiteral("B") << QStringLiteral("2")
        << QByteArray("[Set]\nA=1\nB=2");
    QTest::newRow("create a section after a last line without line end")
        << QByteArray("[Set]\nA=1") << hotKey << QStringLiteral("K1") << QStringLiteral("F2")
        << QByteArray("[Set]\nA=1\n[HotKey]\nK1=F2");
    QTest::newRow("CRLF file: replace")
        << QByteArray("[Set]\r\nA=1\r\n") << set << QStringLiteral("A") << QStringLiteral("2")
        << QByteArray("[Set]\r\nA=2\r\n");
    QTest::newRow("CRLF file: append")
        << QByteArray("[Set]\r\nA=1\r\n[HotKey]\r\nK1=F1\r\n") << set << QStringLiteral("B")
        << QStringLiteral("2") << QByteArray("[Set]\r\nA=1\r\nB=2\r\n[HotKey]\r\nK1=F1\r\n");
    QTest::newRow("CRLF file: new section")
        << QByteArray("[Set]\r\nA=1\r\n") << hotKey << QStringLiteral("K1") << QStringLiteral("F2")
        << QByteArray("[Set]\r\nA=1\r\n[HotKey]\r\nK1=F2\r\n");
    QTest::newRow("LF first line decides")
        << QByteArray("[Set]\nA=1\r\n") << set << QStringLiteral("B") << QStringLiteral("2")
        << QByteArray("[Set]\nA=1\r\nB=2\n");
    QTest::newRow("byte order mark is dropped")
        << QByteArray("\xEF\xBB\xBF[Set]\nA=1\n") << set << QStringLiteral("A")
        << QStringLiteral("2") << QByteArray("[Set]\nA=2\n");
    QTest::newRow("non-ASCII value is UTF-8")
        << QByteArray("[Set]\nA=1\n") << set << QStringLiteral("A") << QStringLiteral("您好")
        << QByteArray("[Set]\nA=\xE6\x82\xA8\xE5\xA5\xBD\n");
    QTest::newRow("empty file") << QByteArray() << set << QStringLiteral("A") << QStringLiteral("1")
                                << QByteArray("[Set]" + platformEol() + "A=1" + platformEol());
}

void TestSettings::writeRules()
{
    QFETCH(QByteArray, before);
    QFETCH(QString, section);
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QByteArray, after);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(writeBytes(path, before));
    IniFile ini(path);
    QVERIFY(ini.load().ok());
    QVERIFY(ini.writeIni(section, key, value).ok());
    QCOMPARE(readBytes(path), after);
    QCOMPARE(ini.readIni(section, key, QStringLiteral("absent")), value);

    // Nothing is left behind beside the file.
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
             QStringList{QStringLiteral("config.ini")});
}

void TestSettings::writingAMissingFileCreatesIt()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    IniFile ini(path);
    QVERIFY(ini.load().ok());
    QVERIFY(
        ini.writeIni(QStringLiteral("HotKey"), QStringLiteral("K1"), QStringLiteral("F2")).ok());
    QCOMPARE(readBytes(path), "[HotKey]" + platformEol() + "K1=F2" + platformEol());
}

void TestSettings::lineBreaksAreRefused()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(Settings::ensureFile(path).ok());
    const QByteArray before = readBytes(path);

    Settings settings(path);
    QVERIFY(settings.load().ok());
    QSignalSpy spy(&settings, &Settings::hotKeyChanged);
    for (const QString& value : {QStringLiteral("line\nK2=F9"), QStringLiteral("line\r\nmore"),
                                 QStringLiteral("line\rmore")}) {
        const Result<void> result = settings.setHotKey(1, HotKeyField::SendContent, value);
        QVERIFY(!result.ok());
        QVERIFY(!result.message().isEmpty());
    }
    QCOMPARE(readBytes(path), before);
    QCOMPARE(settings.hotKey(1, HotKeyField::SendContent), QString());
    QCOMPARE(spy.count(), 0);
}

void TestSettings::failedWriteLeavesTheFile_data()
{
    QTest::addColumn<bool>("needsPermissions");
    QTest::addColumn<QString>("configPath");

    QTest::newRow("folder is a plain file") << false << QStringLiteral("blocker/config.ini");
    QTest::newRow("file in a read-only folder") << true << QStringLiteral("locked/config.ini");
}

void TestSettings::failedWriteLeavesTheFile()
{
    QFETCH(bool, needsPermissions);
    QFETCH(QString, configPath);
    if (needsPermissions && !permissionsAreEnforced())
        QSKIP("folder permissions do not hold for this user");

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(configPath);
    const QByteArray content = "[Set]\nStartTop=1\n";
    std::optional<ReadOnlyFolder> locked;
    if (needsPermissions) {
        QVERIFY(QDir().mkpath(QFileInfo(path).absolutePath()));
        QVERIFY(writeBytes(path, content));
        locked.emplace(QFileInfo(path).absolutePath());
    } else {
        QVERIFY(writeBytes(dir.filePath(QStringLiteral("blocker")), content));
    }

    Settings settings(path);
    QSignalSpy spy(&settings, &Settings::changed);
    const Result<void> result = settings.setValue(Setting::StartTop, QStringLiteral("0"));
    QVERIFY(!result.ok());
    QVERIFY2(result.message().startsWith(QStringLiteral("无法写入配置文件 ") +
                                         QDir::toNativeSeparators(path) + QStringLiteral("：")),
             qPrintable(result.message()));
    QCOMPARE(settings.value(Setting::StartTop), QStringLiteral("1"));
    QCOMPARE(spy.count(), 0);
    if (needsPermissions)
        QCOMPARE(readBytes(path), content);

    // An IniFile whose save failed goes on reading what the file holds.
    IniFile ini(path);
    QVERIFY(ini.load().ok());
    const QString before =
        ini.readIni(QStringLiteral("Set"), QStringLiteral("StartTop"), QStringLiteral("absent"));
    QVERIFY(!ini.writeIni(QStringLiteral("Set"), QStringLiteral("StartTop"), QStringLiteral("0")));
    QCOMPARE(
        ini.readIni(QStringLiteral("Set"), QStringLiteral("StartTop"), QStringLiteral("absent")),
        before);
}

void TestSettings::setValueChangesOnlyItsLine_data()
{
    QTest::addColumn<Setting>("setting");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("line");

    QTest::newRow("flag") << Setting::StartTop << QStringLiteral("0")
                          << QStringLiteral("StartTop=0");
    QTest::newRow("key written with a blank before =")
        << Setting::DefaultShowHotKeyContent << QStringLiteral("0")
        << QStringLiteral("DefaultShowHotKeyContent =0");
    QTest::newRow("path") << Setting::DatabasePath << QStringLiteral("D:\\客服\\数据")
                          << QStringLiteral("DatabasePath=D:\\客服\\数据");
    QTest::newRow("last key") << Setting::ToolsTitleExtName << QStringLiteral("1")
                              << QStringLiteral("ToolsTitleExtName=1");
}

void TestSettings::setValueChangesOnlyItsLine()
{
    QFETCH(Setting, setting);
    QFETCH(QString, value);
    QFETCH(QString, line);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(Settings::ensureFile(path).ok());
    Settings settings(path);
    QVERIFY(settings.load().ok());
    QSignalSpy spy(&settings, &Settings::changed);

    QVERIFY(settings.setValue(setting, value).ok());
    QCOMPARE(settings.value(setting), value);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).value<Setting>(), setting);

    QStringList expected = expectedDefaultLines();
    const QString key = SettingsTable::key(setting);
    const auto old = std::find_if(expected.begin(), expected.end(), [&](const QString& l) {
        return l.section(QLatin1Char('='), 0, 0).trimmed() == key;
    });
    QVERIFY(old != expected.end());
    *old = line;
    QByteArray bytes;
    for (const QString& l : expected)
        bytes += l.toUtf8() + platformEol();
    QCOMPARE(readBytes(path), bytes);

    Settings reread(path);
    QVERIFY(reread.load().ok());
    QCOMPARE(reread.value(setting), value);
}

void TestSettings::setHotKeyWritesAndSignals()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(Settings::ensureFile(path).ok());
    Settings settings(path);
    QVERIFY(settings.load().ok());
    QSignalSpy spy(&settings, &Settings::hotKeyChanged);

    QVERIFY(settings.setHotKey(12, HotKeyField::SendContent, QStringLiteral("您好，请稍等")).ok());
    QVERIFY(settings.setHotKey(3, HotKeyField::ModKeyCode, QStringLiteral("4")).ok());
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(0).at(0).toInt(), 12);
    QCOMPARE(spy.at(0).at(1).value<HotKeyField>(), HotKeyField::SendContent);
    QCOMPARE(spy.at(1).at(0).toInt(), 3);
    QCOMPARE(spy.at(1).at(1).value<HotKeyField>(), HotKeyField::ModKeyCode);
    QCOMPARE(settings.hotKey(3, HotKeyField::ModKeyCode), QStringLiteral("4"));

    const QString text = QString::fromUtf8(readBytes(path));
    QVERIFY(text.contains(QStringLiteral("K12SendContent=您好，请稍等") +
                          QString::fromLatin1(platformEol())));
    // The modifier key keeps its lower-case spelling instead of gaining a second line.
    QVERIFY(text.contains(QStringLiteral("\nk3ModKeyCode=4")));
    QCOMPARE(text.count(QStringLiteral("ModKeyCode="), Qt::CaseInsensitive), HotKeyCount);

    Settings reread(path);
    QVERIFY(reread.load().ok());
    QCOMPARE(reread.hotKey(12, HotKeyField::SendContent), QStringLiteral("您好，请稍等"));
    QCOMPARE(reread.hotKey(3, HotKeyField::ModKeyCode), QStringLiteral("4"));
}

void TestSettings::setValueKeepsWhatOthersWrote()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(writeBytes(path, "[Set]\nStartTop=1\n"));
    Settings settings(path);
    QVERIFY(settings.load().ok());

    // Another instance or the user edits the file after this one loaded it.
    QVERIFY(writeBytes(path, "; kept\n[Set]\nStartTop=1\nUnknown=x\n[Extra]\nY=2\n"));
    QVERIFY(settings.setValue(Setting::StartTop, QStringLiteral("0")).ok());
    QVERIFY(settings.setValue(Setting::Sort, QStringLiteral("2")).ok());
    QCOMPARE(readBytes(path),
             QByteArray("; kept\n[Set]\nStartTop=0\nUnknown=x\nSort=2\n[Extra]\nY=2\n"));
}

void TestSettings::setValueKeepsTheValueAsReadBack()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(Settings::ensureFile(path).ok());
    Settings settings(path);
    QVERIFY(settings.load().ok());

    const QString longPath(300, QLatin1Char('p'));
    QVERIFY(settings.setValue(Setting::DatabasePath, longPath).ok());
    QCOMPARE(settings.value(Setting::DatabasePath), longPath.first(254));
    // The file holds all of it; only reading cuts.
    QVERIFY(readBytes(path).contains("DatabasePath=" + longPath.toLatin1()));
    Settings reread(path);
    QVERIFY(reread.load().ok());
    QCOMPARE(reread.value(Setting::DatabasePath), longPath.first(254));

    QVERIFY(settings.setValue(Setting::StartMainWidth, QStringLiteral(" 5000\t")).ok());
    QCOMPARE(settings.value(Setting::StartMainWidth), QStringLiteral("5000"));
    QCOMPARE(settings.integer(Setting::StartMainWidth), 5000);
}

void TestSettings::hotKeyOutOfRange()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(Settings::ensureFile(path).ok());
    const QByteArray before = readBytes(path);
    Settings settings(path);
    QVERIFY(settings.load().ok());

    QCOMPARE(settings.hotKey(0, HotKeyField::Key), QString());
    QCOMPARE(settings.hotKey(13, HotKeyField::Key), QString());
    QVERIFY(!settings.setHotKey(0, HotKeyField::Key, QStringLiteral("F1")).ok());
    QVERIFY(!settings.setHotKey(13, HotKeyField::Key, QStringLiteral("F1")).ok());
    QCOMPARE(readBytes(path), before);
}

void TestSettings::gbkFileIsReadAndRewrittenAsUtf8()
{
    const QString folder = QStringLiteral("D:\\客服资料\\话术库");
    const QByteArray gbk =
        "[Set]\r\nDatabasePath=" + toGbk(folder) + "\r\nStartTop=1\r\n[HotKey]\r\nK1=F1\r\n";
    QVERIFY(!toGbk(folder).isEmpty());
    QVERIFY2(!isValidUtf8(gbk), "the sample must not happen to be valid UTF-8");

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("config.ini"));
    QVERIFY(writeBytes(path, gbk));
    Settings settings(path);
    QVERIFY(settings.load().ok());
    QCOMPARE(settings.value(Setting::DatabasePath), folder);

    QVERIFY(settings.setValue(Setting::StartTop, QStringLiteral("0")).ok());
    QCOMPARE(readBytes(path), "[Set]\r\nDatabasePath=" + folder.toUtf8() +
                                  "\r\nStartTop=0\r\n[HotKey]\r\nK1=F1\r\n");

    Settings reread(path);
    QVERIFY(reread.load().ok());
    QCOMPARE(reread.value(Setting::DatabasePath), folder);
    QCOMPARE(reread.value(Setting::StartTop), QStringLiteral("0"));
}

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
