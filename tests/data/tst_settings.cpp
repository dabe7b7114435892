#include "data/IniFile.h"
#include "data/Settings.h"
#include "data/SettingsTable.h"
#include "support/Files.h"
#include "support/FixtureRows.h"

#include <QHash>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <optional>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace {

#ifdef Q_OS_WIN
const QByteArray Eol = "\r\n";
#else
const QByteArray Eol = "\n";
#endif

// The default config.ini as installed files have it, kept as a fixture file.
QStringList expectedDefaultLines()
{
    QStringList lines = QString::fromUtf8(readBytes(QUILLMATE_FIXTURES "/default-config.ini"))
                            .remove('\r')
                            .split('\n');
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

QByteArray joined(const QStringList& lines)
{
    QByteArray bytes;
    for (const QString& line : lines)
        bytes += line.toUtf8() + Eol;
    return bytes;
}

// Section -> lower-case key -> value, from lines of the default file's shape.
using IniMap = QHash<QString, QHash<QString, QString>>;

IniMap toMap(const QStringList& lines)
{
    IniMap map;
    QString section;
    for (const QString& line : lines) {
        if (line.startsWith('[')) {
            section = line.mid(1, line.size() - 2).toLower();
            continue;
        }
        const qsizetype equals = line.indexOf('=');
        map[section][line.first(equals).trimmed().toLower()] = line.sliced(equals + 1);
    }
    return map;
}

// What a file that lacks every key reads as: the written values, except for seven keys whose
// absence the program has always read differently, and the hot keys.
IniMap expectedReadDefaults()
{
    IniMap map = toMap(expectedDefaultLines());
    QHash<QString, QString>& set = map["set"];
    for (const char* key : {"endnewlinetwo", "starthotkey", "addhotkeyendnewline"})
        set[key] = "1";
    set["closemainneweditprompt"] = "0";
    set["leftandrighthidemini"] = "0";
    set["mainstarttopsize"] = "80";
    set["startmainheight"] = "7380";
    // A hot key missing from the file is unset; the default file's F-keys are for new files.
    QHash<QString, QString>& hotKeys = map["hotkey"];
    for (int n = 1; n <= HotKeyCount; ++n) {
        hotKeys[SettingsTable::hotKeyKey(n, HotKeyField::Key).toLower()] = "无";
        for (const HotKeyField code : {HotKeyField::KeyCode, HotKeyField::ModKeyCode})
            hotKeys[SettingsTable::hotKeyKey(n, code).toLower()] = "0";
    }
    return map;
}

// Checks every [Set] and [HotKey] value of the settings against the expected map.
void compareAll(const Settings& settings, const IniMap& expected)
{
    const auto& set = expected["set"];
    int written = 0;
    for (int i = 0; i < SettingCount; ++i) {
        const auto setting = static_cast<Setting>(i);
        const SettingDef& def = SettingsTable::def(setting);
        // Keys a user adds by hand (custom chat windows) are not in the default file.
        const QString key = SettingsTable::key(setting).toLower();
        const QString want =
            def.inDefaultFile ? set.value(key, "<missing>") : QString::fromLatin1(def.readDefault);
        QVERIFY2(settings.value(setting) == want,
                 qPrintable(key + ": " + settings.value(setting) + " instead of " + want));
        written += def.inDefaultFile ? 1 : 0;
    }
    QCOMPARE(set.size(), written);
    const auto& hotKeys = expected["hotkey"];
    QCOMPARE(hotKeys.size(), HotKeyCount * HotKeyFieldCount);
    for (int n = 1; n <= HotKeyCount; ++n) {
        for (int f = 0; f < HotKeyFieldCount; ++f) {
            const auto field = static_cast<HotKeyField>(f);
            const QString key = SettingsTable::hotKeyKey(n, field).toLower();
            const QString want = hotKeys.value(key, "<missing>");
            QVERIFY2(settings.hotKey(n, field) == want,
                     qPrintable(key + ": " + settings.hotKey(n, field) + " instead of " + want));
        }
    }
}

// The setting whose key is written `key` in config.ini; the test fails on an unknown key.
Setting settingNamed(const QString& key)
{
    int setting = 0;
    while (setting < SettingCount && SettingsTable::key(Setting(setting)) != key)
        ++setting;
    if (setting == SettingCount)
        QTest::qFail(qPrintable("no setting " + key), __FILE__, __LINE__);
    return Setting(setting);
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

    void defaultFileIsWrittenOnlyWhenMissing();
    void fileThatCannotBeCreated_data() { fixtureData("unwritable-config.txt"); }
    void fileThatCannotBeCreated();
    void absentKeysReadTheirReadDefaults_data() { fixtureData("absent-keys.txt"); }
    void absentKeysReadTheirReadDefaults();

    void readRules_data();
    void readRules();
    void integers_data();
    void integers();
    void flagsReadByTheirKeysRule_data() { fixtureData("flags.txt"); }
    void flagsReadByTheirKeysRule();
    void autoPressSendKey_data() { fixtureData("auto-press-send-key.txt"); }
    void autoPressSendKey();

    void writeRules_data();
    void writeRules();
    void failedWriteLeavesTheFile_data() { fileThatCannotBeCreated_data(); }
    void failedWriteLeavesTheFile();

    void setValueChangesOnlyItsLine_data() { fixtureData("set-value.txt"); }
    void setValueChangesOnlyItsLine();
    void setHotKeyAndSetValueReadBack();
    void setValueKeepsWhatOthersWrote();

private:
    // A fresh folder for every test; m_path is config.ini in it.
    std::optional<QTemporaryDir> m_dir;
    QString m_path;
};

void TestSettings::init()
{
    m_dir.emplace();
    QVERIFY(m_dir->isValid());
    m_path = m_dir->filePath("config.ini");
}

void TestSettings::defaultFileIsWrittenOnlyWhenMissing()
{
    const QStringList expected = expectedDefaultLines();
    QVERIFY(expected.size() > 100);
    QCOMPARE(SettingsTable::defaultFileLines(), expected);

    // The folder does not exist yet: ensureFile creates it.
    const QString path = m_dir->filePath("Quillmate/config.ini");
    QVERIFY(Settings::ensureFile(path).ok());
    QCOMPARE(readBytes(path), joined(expected));
    Settings settings(path);
    QVERIFY(settings.load().ok());
    // Covers the key written with a blank before "=" and the lower-case modifier keys.
    compareAll(settings, toMap(expected));

    const QByteArray own = "; mine\r\n[Set]\r\nStartTop=0\r\n";
    QVERIFY(writeBytes(path, own));
    QVERIFY(Settings::ensureFile(path).ok());
    QCOMPARE(readBytes(path), own);

    // Deleted, it comes back with the defaults rather than with what was read before.
    QVERIFY(settings.load().ok());
    QVERIFY(QFile::remove(path));
    QVERIFY(Settings::ensureFile(path).ok());
    QCOMPARE(readBytes(path), joined(expected));
    QVERIFY(settings.load().ok());
    QCOMPARE(settings.value(Setting::StartTop), "1");
}

// A row of unwritable-config.txt: whether folder permissions must hold, the path.
void TestSettings::fileThatCannotBeCreated()
{
    QFETCH(QStringList, row);
    const bool needsPermissions = row.value(1) == "1";
    const QString configPath = row.value(2);
    if (needsPermissions && !permissionsAreEnforced())
        QSKIP("folder permissions do not hold for this user");

    const QString blocker = configPath.section('/', 0, 0);
    const QString path = m_dir->filePath(configPath);
    std::optional<ReadOnlyFolder> locked;
    if (needsPermissions)
        locked.emplace(m_dir->filePath(blocker));
    else
        QVERIFY(writeBytes(m_dir->filePath(blocker), "not a folder"));

    const Result<void> ensured = Settings::ensureFile(path);
    QVERIFY(!ensured.ok());
    // The reason follows on its own line.
    QVERIFY2(ensured.message().startsWith("配置文件不存在！\n无法写入配置文件 " +
                                          QDir::toNativeSeparators(path) + "："),
             qPrintable(ensured.message()));
    QVERIFY(!QFileInfo::exists(path));

    Settings settings(path);
    QCOMPARE(settings.load().message(), "配置文件不存在！");
}

// A row of absent-keys.txt: the file's content, whether it is loaded.
void TestSettings::absentKeysReadTheirReadDefaults()
{
    QFETCH(QStringList, row);
    QVERIFY(writeBytes(m_path, row.value(1).toUtf8()));
    Settings settings(m_path);
    if (row.value(2) == "1")
        QVERIFY(settings.load().ok());

    compareAll(settings, expectedReadDefaults());
}

void TestSettings::readRules_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("fallback");
    QTest::addColumn<QString>("expected"); // of StartTop in [Set]

    for (const QStringList& row : fixtureRows("ini-read.txt"))
        QTest::newRow(qPrintable(row.at(0))) << row.value(2).toUtf8() << "default" << row.value(1);
    QTest::newRow("UTF-8 byte order mark")
        << QByteArray("\xEF\xBB\xBF[Set]\nStartTop=0\n") << QString("default") << QString("0");
    const QString longValue(300, 'v');
    QTest::newRow("300 characters read as 254") << "[Set]\nStartTop=" + longValue.toUtf8() + '\n'
                                                << "default" << longValue.first(254);
    QTest::newRow("254 characters stay whole")
        << "[Set]\nStartTop=" + longValue.first(254).toUtf8() << "default" << longValue.first(254);
    QTest::newRow("a long default is cut as well")
        << QByteArray("[Set]\n") << longValue << longValue.first(254);
    const QString pairAtCut = QString(253, 'v') + "😀";
    QTest::newRow("cut does not split a surrogate pair")
        << "[Set]\nStartTop=" + pairAtCut.toUtf8() << "default" << pairAtCut.first(253);
}

void TestSettings::readRules()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, fallback);
    QFETCH(QString, expected);

    QVERIFY(writeBytes(m_path, content));
    IniFile ini(m_path);
    QVERIFY(ini.load().ok());
    QCOMPARE(ini.readIni("Set", "StartTop", fallback), expected);
}

void TestSettings::integers_data()
{
    QTest::addColumn<Setting>("setting");
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<int>("expected");

    for (const QStringList& row : fixtureRows("ini-integers.txt")) {
        QTest::newRow(qPrintable(row.at(0)))
            << settingNamed(row.value(1).section('=', 0, 0).trimmed()) << row.value(1).toUtf8()
            << row.value(2).toInt();
    }
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

// A row of flags.txt: a line in [Set] and whether its flag reads as on.
void TestSettings::flagsReadByTheirKeysRule()
{
    QFETCH(QStringList, row);
    QVERIFY(writeBytes(m_path, "[Set]\n" + row.value(1).toUtf8() + '\n'));
    Settings settings(m_path);
    QVERIFY(settings.load().ok());
    QCOMPARE(settings.flag(settingNamed(row.value(1).section('=', 0, 0))), row.value(2) == "1");
    // Set, a flag is written as "1".
    QVERIFY(settings.setFlag(Setting::StartTop, true).ok());
    QCOMPARE(settings.value(Setting::StartTop), "1");
}

// A row of auto-press-send-key.txt: the line in [Set], whether the key is pressed, which key.
void TestSettings::autoPressSendKey()
{
    QFETCH(QStringList, row);
    QVERIFY(writeBytes(m_path, "[Set]\n" + row.value(1).toUtf8() + '\n'));
    Settings settings(m_path);
    QVERIFY(settings.load().ok());
    QCOMPARE(settings.autoPressSendKey().on, row.value(2) == "1");
    QCOMPARE(settings.autoPressSendKey().key, row.value(3));
}

void TestSettings::writeRules_data()
{
    QTest::addColumn<QByteArray>("before"); // null: no file yet
    QTest::addColumn<QString>("section");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QByteArray>("after");

    for (const QStringList& row : fixtureRows("ini-write.txt")) {
        QTest::newRow(qPrintable(row.at(0)))
            << row.value(4).toUtf8() << row.value(1) << row.value(2) << row.value(3)
            << row.value(5).toUtf8();
    }
    QTest::newRow("byte order mark is dropped")
        << QByteArray("\xEF\xBB\xBF[Set]\nA=1\n") << QString("Set") << QString("A") << QString("2")
        << QByteArray("[Set]\nA=2\n");
    // A file without lines of its own gets the system's line ends.
    QTest::newRow("empty file") << QByteArray("") << QString("Set") << QString("A") << QString("1")
                                << "[Set]" + Eol + "A=1" + Eol;
    QTest::newRow("no file yet") << QByteArray() << QString("HotKey") << QString("K1")
                                 << QString("F2") << "[HotKey]" + Eol + "K1=F2" + Eol;
}

void TestSettings::writeRules()
{
    QFETCH(QByteArray, before);
    QFETCH(QString, section);
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QByteArray, after);

    if (!before.isNull())
        QVERIFY(writeBytes(m_path, before));
    IniFile ini(m_path);
    QVERIFY(ini.load().ok());
    QVERIFY(ini.writeIni(section, key, value).ok());
    QCOMPARE(readBytes(m_path), after);
    QCOMPARE(ini.readIni(section, key, "absent"), value);

    // Nothing is left behind beside the file.
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden), QStringList{"config.ini"});
}

void TestSettings::failedWriteLeavesTheFile()
{
    QFETCH(QStringList, row);
    const bool needsPermissions = row.value(1) == "1";
    const QString configPath = row.value(2);
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
        QVERIFY(writeBytes(m_dir->filePath("blocker"), content));
    }

    Settings settings(path);
    QSignalSpy spy(&settings, &Settings::changed);
    const Result<void> result = settings.setValue(Setting::StartTop, "0");
    QVERIFY(!result.ok());
    QVERIFY2(
        result.message().startsWith("无法写入配置文件 " + QDir::toNativeSeparators(path) + "："),
        qPrintable(result.message()));
    QCOMPARE(settings.value(Setting::StartTop), "1");
    QCOMPARE(spy.count(), 0);
    if (needsPermissions)
        QCOMPARE(readBytes(path), content);

    // An IniFile whose save failed goes on reading what the file holds.
    IniFile ini(path);
    QVERIFY(ini.load().ok());
    const QString before = ini.readIni("Set", "StartTop", "absent");
    QVERIFY(!ini.writeIni("Set", "StartTop", "0"));
    QCOMPARE(ini.readIni("Set", "StartTop", "absent"), before);
}

// A row of set-value.txt: the key, the value set and the line it leaves.
void TestSettings::setValueChangesOnlyItsLine()
{
    QFETCH(QStringList, row);
    const Setting setting = settingNamed(row.value(1));
    const QString value = row.value(2);
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
        return l.section('=', 0, 0).trimmed() == key;
    });
    QVERIFY(old != expected.end());
    *old = row.value(3);
    QCOMPARE(readBytes(m_path), joined(expected));

    Settings reread(m_path);
    QVERIFY(reread.load().ok());
    QCOMPARE(reread.value(setting), value);
}

void TestSettings::setHotKeyAndSetValueReadBack()
{
    QVERIFY(Settings::ensureFile(m_path).ok());
    const QByteArray before = readBytes(m_path);
    Settings settings(m_path);
    QVERIFY(settings.load().ok());
    QSignalSpy spy(&settings, &Settings::hotKeyChanged);

    // A line break would start keys of its own.
    for (const char* value : {"line\nK2=F9", "line\r\nmore", "line\rmore"}) {
        const Result<void> result = settings.setHotKey(1, HotKeyField::SendContent, value);
        QVERIFY(!result.ok());
        QVERIFY(!result.message().isEmpty());
    }
    QCOMPARE(settings.hotKey(1, HotKeyField::SendContent), QString());

    // There are hot keys 1 to 12 only.
    for (const int n : {0, 13}) {
        QCOMPARE(settings.hotKey(n, HotKeyField::Key), QString());
        QVERIFY(!settings.setHotKey(n, HotKeyField::Key, "F1").ok());
    }
    QCOMPARE(readBytes(m_path), before);
    QCOMPARE(spy.count(), 0);

    QVERIFY(settings.setHotKey(12, HotKeyField::SendContent, "您好，请稍等").ok());
    QVERIFY(settings.setHotKey(3, HotKeyField::ModKeyCode, "4").ok());
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(0).at(0).toInt(), 12);
    QCOMPARE(spy.at(0).at(1).value<HotKeyField>(), HotKeyField::SendContent);
    QCOMPARE(spy.at(1).at(0).toInt(), 3);
    QCOMPARE(spy.at(1).at(1).value<HotKeyField>(), HotKeyField::ModKeyCode);
    QCOMPARE(settings.hotKey(3, HotKeyField::ModKeyCode), "4");

    const QString text = QString::fromUtf8(readBytes(m_path));
    QVERIFY(text.contains("K12SendContent=您好，请稍等" + QString::fromLatin1(Eol)));
    // The modifier key keeps its lower-case spelling instead of gaining a second line.
    QVERIFY(text.contains("\nk3ModKeyCode=4"));
    QCOMPARE(text.count("ModKeyCode=", Qt::CaseInsensitive), HotKeyCount);

    Settings reread(m_path);
    QVERIFY(reread.load().ok());
    QCOMPARE(reread.hotKey(12, HotKeyField::SendContent), "您好，请稍等");
    QCOMPARE(reread.hotKey(3, HotKeyField::ModKeyCode), "4");

    // A value is kept as it reads back: cut to 254 characters, and trimmed.
    const QString longPath(300, 'p');
    QVERIFY(settings.setValue(Setting::DatabasePath, longPath).ok());
    QCOMPARE(settings.value(Setting::DatabasePath), longPath.first(254));
    // The file holds all of it; only reading cuts.
    QVERIFY(readBytes(m_path).contains("DatabasePath=" + longPath.toLatin1()));
    QVERIFY(reread.load().ok());
    QCOMPARE(reread.value(Setting::DatabasePath), longPath.first(254));

    QVERIFY(settings.setValue(Setting::StartMainWidth, " 5000\t").ok());
    QCOMPARE(settings.value(Setting::StartMainWidth), "5000");
    QCOMPARE(settings.integer(Setting::StartMainWidth), 5000);
}

void TestSettings::setValueKeepsWhatOthersWrote()
{
    QVERIFY(writeBytes(m_path, "[Set]\nStartTop=1\n"));
    Settings settings(m_path);
    QVERIFY(settings.load().ok());

    // Another instance or the user edits the file after this one loaded it.
    QVERIFY(writeBytes(m_path, "; kept\n[Set]\nStartTop=1\nUnknown=x\n[Extra]\nY=2\n"));
    QVERIFY(settings.setValue(Setting::StartTop, "0").ok());
    QVERIFY(settings.setValue(Setting::Sort, "2").ok());
    QCOMPARE(readBytes(m_path),
             QByteArray("; kept\n[Set]\nStartTop=0\nUnknown=x\nSort=2\n[Extra]\nY=2\n"));
}

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
