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

// The default config.ini as installed files have it, kept as a fixture file.
QStringList expectedDefaultLines()
{
    QStringList lines =
        QString::fromUtf8(readBytes(QStringLiteral(QUILLMATE_FIXTURES "/default-config.ini")))
            .remove(QLatin1Char('\r'))
            .split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
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

QByteArray joined(const QStringList& lines)
{
    QByteArray bytes;
    for (const QString& line : lines)
        bytes += line.toUtf8() + platformEol();
    return bytes;
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
// absence the program has always read differently, and the hot keys.
IniMap expectedReadDefaults()
{
    IniMap map = toMap(expectedDefaultLines());
    QHash<QString, QString>& set = map[QStringLiteral("set")];
    for (const char* key : {"endnewlinetwo", "starthotkey", "addhotkeyendnewline"})
        set[QLatin1String(key)] = QStringLiteral("1");
    set[QStringLiteral("closemainneweditprompt")] = QStringLiteral("0");
    set[QStringLiteral("leftandrighthidemini")] = QStringLiteral("0");
    set[QStringLiteral("mainstarttopsize")] = QStringLiteral("80");
    set[QStringLiteral("startmainheight")] = QStringLiteral("7380");
    // A hot key missing from the file is unset; the default file's F-keys are for new files.
    QHash<QString, QString>& hotKeys = map[QStringLiteral("hotkey")];
    for (int n = 1; n <= HotKeyCount; ++n) {
        hotKeys[SettingsTable::hotKeyKey(n, HotKeyField::Key).toLower()] = QStringLiteral("无");
        for (const HotKeyField code : {HotKeyField::KeyCode, HotKeyField::ModKeyCode})
            hotKeys[SettingsTable::hotKeyKey(n, code).toLower()] = QStringLiteral("0");
    }
    return map;
}

// Checks every [Set] and [HotKey] value of the settings against the expected map.
void compareAll(const Settings& settings, const IniMap& expected)
{
    const auto& set = expected[QStringLiteral("set")];
    int written = 0;
    for (int i = 0; i < SettingCount; ++i) {
        const auto setting = static_cast<Setting>(i);
        const SettingDef& def = SettingsTable::def(setting);
        // Keys a user adds by hand (custom chat windows) are not in the default file.
        const QString key = SettingsTable::key(setting).toLower();
        const QString want = def.inDefaultFile ? set.value(key, QStringLiteral("<missing>"))
                                               : QString::fromLatin1(def.readDefault);
        QVERIFY2(settings.value(setting) == want,
                 qPrintable(key + ": " + settings.value(setting) + " instead of " + want));
        written += def.inDefaultFile ? 1 : 0;
    }
    QCOMPARE(set.size(), written);
    const auto& hotKeys = expected[QStringLiteral("hotkey")];
    QCOMPARE(hotKeys.size(), HotKeyCount * HotKeyFieldCount);
    for (int n = 1; n <= HotKeyCount; ++n) {
        for (int f = 0; f < HotKeyFieldCount; ++f) {
            const auto field = static_cast<HotKeyField>(f);
            const QString key = SettingsTable::hotKeyKey(n, field).toLower();
            const QString want = hotKeys.value(key, QStringLiteral("<missing>"));
            QVERIFY2(settings.hotKey(n, field) == want,
                     qPrintable(key + ": " + settings.hotKey(n, field) + " instead of " + want));
        }
    }
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
    void init();

    void defaultFileIsByteExact();
    void ensureFileCreatesOnlyAMissingFile();
    void fileThatCannotBeCreated_data();
    void fileThatCannotBeCreated();

    void defaultFileReadsItsWrittenValues();
    void absentKeysReadTheirReadDefaults_data();
    void absentKeysReadTheirReadDefaults();

    void readRules_data();
    void readRules();
    void missingFileReadsDefaultsAndIsCreatedOnWrite();

    void integers_data();
    void integers();
    void flagsReadByTheirKeysRule();
    void autoPressSendKey_data();
    void autoPressSendKey();

    void writeRules_data();
    void writeRules();
    void refusedHotKeysLeaveTheFile();
    void failedWriteLeavesTheFile_data();
    void failedWriteLeavesTheFile();

    void setValueChangesOnlyItsLine_data();
    void setValueChangesOnlyItsLine();
    void setHotKeyWritesAndSignals();
    void setValueKeepsWhatOthersWrote();
    void setValueKeepsTheValueAsReadBack();
    void gbkFileIsReadAndRewrittenAsUtf8();

private:
    // A fresh folder for every test; m_path is config.ini in it.
    std::optional<QTemporaryDir> m_dir;
    QString m_path;
};

void TestSettings::init()
{
    m_dir.emplace();
    QVERIFY(m_dir->isValid());
    m_path = m_dir->filePath(QStringLiteral("config.ini"));
}

void TestSettings::defaultFileIsByteExact()
{
    const QStringList expected = expectedDefaultLines();
    QVERIFY(expected.size() > 100);
    QCOMPARE(SettingsTable::defaultFileLines(), expected);

    // The folder does not exist yet: ensureFile creates it.
    const QString path = m_dir->filePath(QStringLiteral("Quillmate/config.ini"));
    QVERIFY(Settings::ensureFile(path).ok());
    QCOMPARE(readBytes(path), joined(expected));
}

void TestSettings::ensureFileCreatesOnlyAMissingFile()
{
    QVERIFY(Settings::ensureFile(m_path).ok());
    const QByteArray defaults = readBytes(m_path);

    const QByteArray own = "; mine\r\n[Set]\r\nStartTop=0\r\n";
    QVERIFY(writeBytes(m_path, own));
    QVERIFY(Settings::ensureFile(m_path).ok());
    QCOMPARE(readBytes(m_path), own);

    // Deleted, it comes back with the defaults rather than with what was read before.
    Settings settings(m_path);
    QVERIFY(settings.load().ok());
    QVERIFY(QFile::remove(m_path));
    QVERIFY(Settings::ensureFile(m_path).ok());
    QCOMPARE(readBytes(m_path), defaults);
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

    const QString path = m_dir->filePath(configPath);
    std::optional<ReadOnlyFolder> locked;
    if (needsPermissions)
        locked.emplace(m_dir->filePath(blocker));
    else
        QVERIFY(writeBytes(m_dir->filePath(blocker), "not a folder"));

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

void TestSettings::defaultFileReadsItsWrittenValues()
{
    QVERIFY(Settings::ensureFile(m_path).ok());
    Settings settings(m_path);
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

    QVERIFY(writeBytes(m_path, content));
    Settings settings(m_path);
    if (load)
        QVERIFY(settings.load().ok());

    compareAll(settings, expectedReadDefaults());
    // Numbers and flags follow the read defaults too, not the written ones.
    QCOMPARE(settings.integer(Setting::StartMainHeight), 7380);
    QCOMPARE(settings.integer(Setting::MainStartTopSize), 80);
    QVERIFY(settings.flag(Setting::EndNewLineTwo));
    QVERIFY(!settings.flag(Setting::CloseMainNewEditPrompt));
}

void TestSettings::readRules_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("fallback");
    QTest::addColumn<QString>("expected"); // of StartTop in [Set]

    const QString fallback = QStringLiteral("default");
    const auto row = [&](const char* tag, const QByteArray& content, const QString& expected) {
        QTest::newRow(tag) << content << fallback << expected;
    };
    row("plain", "[Set]\nStartTop=0\n", "0");
    row("names in other case", "[SET]\nstarttop=0\n", "0");
    row("blanks and tabs around key and value", "  [ Set ]\n \tStartTop \t=\t 0 x \t\n", "0 x");
    row("present but empty", "[Set]\nStartTop=\n", QString());
    row("present but blank", "[Set]\nStartTop=  \n", QString());
    row("absent key", "[Set]\nStartTo=0\nStartTopX=0\n", fallback);
    row("absent section", "[Settings]\nStartTop=0\n", fallback);
    row("key of another section", "[HotKey]\nStartTop=0\n[Set]\nOther=1\n", fallback);
    row("key before any section", "StartTop=0\n[Set]\n", fallback);
    row("first occurrence wins", "[Set]\nStartTop=0\nStartTop=1\n", "0");
    row("first section wins", "[Set]\nA=1\n[HotKey]\n[Set]\nStartTop=0\n", fallback);
    row("comment lines are skipped", "[Set]\n;StartTop=0\n  ; StartTop=2\nStartTop=1\n", "1");
    row("lines without = are skipped", "[Set]\nStartTop\nStartTop=1\n", "1");
    row("value holding =", "[Set]\nStartTop=a=b\n", "a=b");
    row("CRLF line ends", "[Set]\r\nStartTop=0\r\n", "0");
    row("last line without line end", "[Set]\nStartTop=0", "0");
    row("UTF-8 byte order mark", "\xEF\xBB\xBF[Set]\nStartTop=0\n", "0");
    row("UTF-8 text", "[Set]\nStartTop=\xE5\xAE\xA2\xE6\x9C\x8D\n", QStringLiteral("客服"));

    const QString longValue(300, QLatin1Char('v'));
    row("300 characters read as 254", "[Set]\nStartTop=" + longValue.toUtf8() + '\n',
        longValue.first(254));
    row("254 characters stay whole", "[Set]\nStartTop=" + longValue.first(254).toUtf8(),
        longValue.first(254));
    QTest::newRow("a long default is cut as well")
        << QByteArray("[Set]\n") << longValue << longValue.first(254);
    const QString pairAtCut = QString(253, QLatin1Char('v')) + QStringLiteral("😀");
    row("cut does not split a surrogate pair", "[Set]\nStartTop=" + pairAtCut.toUtf8(),
        pairAtCut.first(253));
}

void TestSettings::readRules()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, fallback);
    QFETCH(QString, expected);

    QVERIFY(writeBytes(m_path, content));
    IniFile ini(m_path);
    QVERIFY(ini.load().ok());
    QCOMPARE(ini.readIni(QStringLiteral("Set"), QStringLiteral("StartTop"), fallback), expected);
}

void TestSettings::missingFileReadsDefaultsAndIsCreatedOnWrite()
{
    IniFile ini(m_path);
    QVERIFY(ini.load().ok());
    QCOMPARE(ini.readIni(QStringLiteral("Set"), QStringLiteral("A"), QStringLiteral("x")),
             QStringLiteral("x"));
    QCOMPARE(ini.lineEnding(), QString::fromLatin1(platformEol()));
    QVERIFY(
        ini.writeIni(QStringLiteral("HotKey"), QStringLiteral("K1"), QStringLiteral("F2")).ok());
    QCOMPARE(readBytes(m_path), "[HotKey]" + platformEol() + "K1=F2" + platformEol());
}

void TestSettings::integers_data()
{
    QTest::addColumn<Setting>("setting");
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<int>("expected");

    const auto row = [](const char* tag, Setting setting, const char* line, int expected) {
        QTest::newRow(tag) << setting << QByteArray(line) << expected;
    };
    const Setting width = Setting::StartMainWidth;
    row("number", width, "StartMainWidth=5000", 5000);
    row("number among blanks", width, "StartMainWidth =  6000 ", 6000);
    row("not a number", width, "StartMainWidth=wide", 4500);
    row("number with trailing text", width, "StartMainWidth=12px", 4500);
    row("empty", width, "StartMainWidth=", 4500);
    row("height not a number", Setting::StartMainHeight, "StartMainHeight=x", 7380);
    // Sizes and places are brought into a range: a huge width made a window nobody could see.
    row("width far too large", width, "StartMainWidth=2147483647", 60000);
    row("width too small", width, "StartMainWidth=15", 1500);
    row("top above the screen", Setting::MainStartTopSize, "MainStartTopSize=-900", 0);
    // Other numbers outside their range read as the default.
    row("first tab out of range", Setting::StartInterface, "StartInterface=9", 1);
    row("first tab", Setting::StartInterface, "StartInterface=3", 3);
    row("negative limit", Setting::FileMaxSize, "FileMaxSize=-3", 20);
    row("limit beyond 16 bits", Setting::PicMaxSize, "PicMaxSize=40000", 5);
}

void TestSettings::integers()
{
    QFETCH(Setting, setting);
    QFETCH(QByteArray, line);
    QFETCH(int, expected);

    QVERIFY(writeBytes(m_path, "[Set]\n" + line + '\n'));
    Settings settings(m_path);
    QVERIFY(settings.load().ok());
    QCOMPARE(settings.integer(setting), expected);
}

void TestSettings::flagsReadByTheirKeysRule()
{
    QVERIFY(writeBytes(m_path, "[Set]\nStartTop=yes\nQueryBarShowFlag=1\nDbClickChat=yes\n"
                               "SendCaptionDesc=0\n"));
    Settings settings(m_path);
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

void TestSettings::autoPressSendKey_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("on");
    QTest::addColumn<QString>("key");

    const auto row = [](const char* tag, const char* content, bool on, const QString& key) {
        QTest::newRow(tag) << QByteArray(content) << on << key;
    };
    row("on with Ctrl+Enter", "AutoPressSendKey=1|CtrlEnter", true, "CtrlEnter");
    row("off with Enter", "AutoPressSendKey=0|Enter", false, "Enter");
    row("flag only", "AutoPressSendKey=1", true, QString());
    row("empty key", "AutoPressSendKey=1|", true, QString());
    row("empty", "AutoPressSendKey=", false, QString());
    row("flag other than 1", "AutoPressSendKey=yes|Enter", false, "Enter");
    row("absent", "", false, "CtrlEnter");
}

void TestSettings::autoPressSendKey()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, on);
    QFETCH(QString, key);

    QVERIFY(writeBytes(m_path, "[Set]\n" + content + '\n'));
    Settings settings(m_path);
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

    const auto row = [](const char* tag, const QByteArray& before, const char* section,
                        const char* key, const QString& value, const QByteArray& after) {
        QTest::newRow(tag) << before << QString::fromLatin1(section) << QString::fromLatin1(key)
                           << value << after;
    };
    row("replace in place, keeping the key's spelling",
        "; settings\n[Set]\nX=1\n  startTop\t= 1\nY=2\n", "Set", "StartTop", "0",
        "; settings\n[Set]\nX=1\n  startTop\t=0\nY=2\n");
    row("replace only the first of two", "[Set]\nA=1\nA=2\n", "Set", "a", "3", "[Set]\nA=3\nA=2\n");
    row("replace with empty", "[Set]\nA=1\nB=2\n", "Set", "A", QString(), "[Set]\nA=\nB=2\n");
    row("append after the section's last key",
        "[Set]\nA=1\n; about B\nB=2\n\n; hot keys\n[HotKey]\nK1=F1\n", "Set", "C", "3",
        "[Set]\nA=1\n; about B\nB=2\nC=3\n\n; hot keys\n[HotKey]\nK1=F1\n");
    row("append to a section without keys", "[Set]\n; nothing yet\n[HotKey]\n", "Set", "A", "1",
        "[Set]\nA=1\n; nothing yet\n[HotKey]\n");
    row("append to a section spelled in other case", "[set]\nA=1\n[HotKey]\n", "Set", "B", "2",
        "[set]\nA=1\nB=2\n[HotKey]\n");
    row("same key in another section is not the key", "[HotKey]\nA=1\n[Set]\nB=1\n", "Set", "A",
        "2", "[HotKey]\nA=1\n[Set]\nB=1\nA=2\n");
    row("key before any section is not the key", "A=0\n[Set]\nA=1\n", "Set", "A", "2",
        "A=0\n[Set]\nA=2\n");
    row("write goes to the first of two sections", "[Set]\nA=1\n[HotKey]\n[Set]\nB=1\n", "Set", "B",
        "2", "[Set]\nA=1\nB=2\n[HotKey]\n[Set]\nB=1\n");
    row("create a missing section at the end", "[Set]\nA=1\n; end\n", "HotKey", "K1", "F2",
        "[Set]\nA=1\n; end\n[HotKey]\nK1=F2\n");
    row("append after a last line without line end", "[Set]\nA=1", "Set", "B", "2",
        "[Set]\nA=1\nB=2");
    row("create a section after a last line without line end", "[Set]\nA=1", "HotKey", "K1", "F2",
        "[Set]\nA=1\n[HotKey]\nK1=F2");
    row("CRLF file: replace", "[Set]\r\nA=1\r\n", "Set", "A", "2", "[Set]\r\nA=2\r\n");
    row("CRLF file: append", "[Set]\r\nA=1\r\n[HotKey]\r\nK1=F1\r\n", "Set", "B", "2",
        "[Set]\r\nA=1\r\nB=2\r\n[HotKey]\r\nK1=F1\r\n");
    row("CRLF file: new section", "[Set]\r\nA=1\r\n", "HotKey", "K1", "F2",
        "[Set]\r\nA=1\r\n[HotKey]\r\nK1=F2\r\n");
    row("LF first line decides", "[Set]\nA=1\r\n", "Set", "B", "2", "[Set]\nA=1\r\nB=2\n");
    row("byte order mark is dropped", "\xEF\xBB\xBF[Set]\nA=1\n", "Set", "A", "2", "[Set]\nA=2\n");
    row("non-ASCII value is UTF-8", "[Set]\nA=1\n", "Set", "A", QStringLiteral("您好"),
        "[Set]\nA=\xE6\x82\xA8\xE5\xA5\xBD\n");
    row("empty file", QByteArray(), "Set", "A", "1",
        "[Set]" + platformEol() + "A=1" + platformEol());
}

void TestSettings::writeRules()
{
    QFETCH(QByteArray, before);
    QFETCH(QString, section);
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QByteArray, after);

    QVERIFY(writeBytes(m_path, before));
    IniFile ini(m_path);
    QVERIFY(ini.load().ok());
    QVERIFY(ini.writeIni(section, key, value).ok());
    QCOMPARE(readBytes(m_path), after);
    QCOMPARE(ini.readIni(section, key, QStringLiteral("absent")), value);

    // Nothing is left behind beside the file.
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden),
             QStringList{QStringLiteral("config.ini")});
}

void TestSettings::refusedHotKeysLeaveTheFile()
{
    QVERIFY(Settings::ensureFile(m_path).ok());
    const QByteArray before = readBytes(m_path);
    Settings settings(m_path);
    QVERIFY(settings.load().ok());
    QSignalSpy spy(&settings, &Settings::hotKeyChanged);

    // A line break would start keys of its own.
    for (const QString& value : {QStringLiteral("line\nK2=F9"), QStringLiteral("line\r\nmore"),
                                 QStringLiteral("line\rmore")}) {
        const Result<void> result = settings.setHotKey(1, HotKeyField::SendContent, value);
        QVERIFY(!result.ok());
        QVERIFY(!result.message().isEmpty());
    }
    QCOMPARE(settings.hotKey(1, HotKeyField::SendContent), QString());

    // There are hot keys 1 to 12 only.
    for (const int n : {0, 13}) {
        QCOMPARE(settings.hotKey(n, HotKeyField::Key), QString());
        QVERIFY(!settings.setHotKey(n, HotKeyField::Key, QStringLiteral("F1")).ok());
    }
    QCOMPARE(readBytes(m_path), before);
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

    const QString path = m_dir->filePath(configPath);
    const QByteArray content = "[Set]\nStartTop=1\n";
    std::optional<ReadOnlyFolder> locked;
    if (needsPermissions) {
        QVERIFY(QDir().mkpath(QFileInfo(path).absolutePath()));
        QVERIFY(writeBytes(path, content));
        locked.emplace(QFileInfo(path).absolutePath());
    } else {
        QVERIFY(writeBytes(m_dir->filePath(QStringLiteral("blocker")), content));
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
    const QString set = QStringLiteral("Set");
    const QString key = QStringLiteral("StartTop");
    const QString before = ini.readIni(set, key, QStringLiteral("absent"));
    QVERIFY(!ini.writeIni(set, key, QStringLiteral("0")));
    QCOMPARE(ini.readIni(set, key, QStringLiteral("absent")), before);
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

    QVERIFY(Settings::ensureFile(m_path).ok());
    Settings settings(m_path);
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
    QCOMPARE(readBytes(m_path), joined(expected));

    Settings reread(m_path);
    QVERIFY(reread.load().ok());
    QCOMPARE(reread.value(setting), value);
}

void TestSettings::setHotKeyWritesAndSignals()
{
    QVERIFY(Settings::ensureFile(m_path).ok());
    Settings settings(m_path);
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

    const QString text = QString::fromUtf8(readBytes(m_path));
    QVERIFY(text.contains(QStringLiteral("K12SendContent=您好，请稍等") +
                          QString::fromLatin1(platformEol())));
    // The modifier key keeps its lower-case spelling instead of gaining a second line.
    QVERIFY(text.contains(QStringLiteral("\nk3ModKeyCode=4")));
    QCOMPARE(text.count(QStringLiteral("ModKeyCode="), Qt::CaseInsensitive), HotKeyCount);

    Settings reread(m_path);
    QVERIFY(reread.load().ok());
    QCOMPARE(reread.hotKey(12, HotKeyField::SendContent), QStringLiteral("您好，请稍等"));
    QCOMPARE(reread.hotKey(3, HotKeyField::ModKeyCode), QStringLiteral("4"));
}

void TestSettings::setValueKeepsWhatOthersWrote()
{
    QVERIFY(writeBytes(m_path, "[Set]\nStartTop=1\n"));
    Settings settings(m_path);
    QVERIFY(settings.load().ok());

    // Another instance or the user edits the file after this one loaded it.
    QVERIFY(writeBytes(m_path, "; kept\n[Set]\nStartTop=1\nUnknown=x\n[Extra]\nY=2\n"));
    QVERIFY(settings.setValue(Setting::StartTop, QStringLiteral("0")).ok());
    QVERIFY(settings.setValue(Setting::Sort, QStringLiteral("2")).ok());
    QCOMPARE(readBytes(m_path),
             QByteArray("; kept\n[Set]\nStartTop=0\nUnknown=x\nSort=2\n[Extra]\nY=2\n"));
}

void TestSettings::setValueKeepsTheValueAsReadBack()
{
    QVERIFY(Settings::ensureFile(m_path).ok());
    Settings settings(m_path);
    QVERIFY(settings.load().ok());

    const QString longPath(300, QLatin1Char('p'));
    QVERIFY(settings.setValue(Setting::DatabasePath, longPath).ok());
    QCOMPARE(settings.value(Setting::DatabasePath), longPath.first(254));
    // The file holds all of it; only reading cuts.
    QVERIFY(readBytes(m_path).contains("DatabasePath=" + longPath.toLatin1()));
    Settings reread(m_path);
    QVERIFY(reread.load().ok());
    QCOMPARE(reread.value(Setting::DatabasePath), longPath.first(254));

    QVERIFY(settings.setValue(Setting::StartMainWidth, QStringLiteral(" 5000\t")).ok());
    QCOMPARE(settings.value(Setting::StartMainWidth), QStringLiteral("5000"));
    QCOMPARE(settings.integer(Setting::StartMainWidth), 5000);
}

void TestSettings::gbkFileIsReadAndRewrittenAsUtf8()
{
    const QString folder = QStringLiteral("D:\\客服资料\\话术库");
    const QByteArray gbk =
        "[Set]\r\nDatabasePath=" + toGbk(folder) + "\r\nStartTop=1\r\n[HotKey]\r\nK1=F1\r\n";
    QVERIFY(!toGbk(folder).isEmpty());
    QVERIFY2(!isValidUtf8(gbk), "the sample must not happen to be valid UTF-8");

    QVERIFY(writeBytes(m_path, gbk));
    Settings settings(m_path);
    QVERIFY(settings.load().ok());
    QCOMPARE(settings.value(Setting::DatabasePath), folder);

    QVERIFY(settings.setValue(Setting::StartTop, QStringLiteral("0")).ok());
    QCOMPARE(readBytes(m_path), "[Set]\r\nDatabasePath=" + folder.toUtf8() +
                                    "\r\nStartTop=0\r\n[HotKey]\r\nK1=F1\r\n");

    Settings reread(m_path);
    QVERIFY(reread.load().ok());
    QCOMPARE(reread.value(Setting::DatabasePath), folder);
    QCOMPARE(reread.value(Setting::StartTop), QStringLiteral("0"));
}

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
