#include "data/Settings.h"

#include "data/AtomicFile.h"
#include "data/IniFile.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <utility>

namespace {

QString missingFileMessage()
{
    return QStringLiteral("配置文件不存在！");
}

bool validHotKey(int n)
{
    return n >= 1 && n <= HotKeyCount;
}

std::size_t settingIndex(Setting setting)
{
    return static_cast<std::size_t>(setting);
}

std::size_t hotKeyIndex(int n)
{
    return static_cast<std::size_t>(n - 1);
}

std::size_t fieldIndex(HotKeyField field)
{
    return static_cast<std::size_t>(field);
}

QString readDefault(Setting setting)
{
    return QString::fromLatin1(SettingsTable::def(setting).readDefault);
}

} // namespace

Settings::Settings(QString filePath, QObject* parent)
    : QObject(parent), m_filePath(std::move(filePath))
{
    // Until load() runs, every key reads as if it were absent from the file.
    for (int i = 0; i < SettingCount; ++i)
        m_values[static_cast<std::size_t>(i)] = readDefault(static_cast<Setting>(i));
    for (int n = 1; n <= HotKeyCount; ++n) {
        for (int f = 0; f < HotKeyFieldCount; ++f) {
            const auto field = static_cast<HotKeyField>(f);
            m_hotKeys[hotKeyIndex(n)][fieldIndex(field)] =
                SettingsTable::hotKeyReadDefault(n, field);
        }
    }
}

Result<void> Settings::ensureFile(const QString& filePath)
{
    if (QFileInfo::exists(filePath))
        return {};
    const QFileInfo info(filePath);
    QDir().mkpath(info.absolutePath());
    const QString ending = IniFile::newFileLineEnding();
    QByteArray bytes;
    for (const QString& line : SettingsTable::defaultFileLines())
        bytes += (line + ending).toUtf8();
    const Result<void> written = AtomicFile::write(filePath, bytes, QStringLiteral("配置文件"));
    // Another program starting at the same moment may have written it instead.
    if (QFileInfo::exists(filePath))
        return {};
    if (!written)
        return Error{missingFileMessage() + QLatin1Char('\n') + written.message()};
    return Error{missingFileMessage()};
}

Result<void> Settings::load()
{
    if (!QFileInfo::exists(m_filePath))
        return Error{missingFileMessage()};
    IniFile ini(m_filePath);
    if (Result<void> loaded = ini.load(); !loaded)
        return loaded;

    const QString set = SettingsTable::setSection();
    for (int i = 0; i < SettingCount; ++i) {
        const auto setting = static_cast<Setting>(i);
        m_values[settingIndex(setting)] =
            ini.readIni(set, SettingsTable::key(setting), readDefault(setting));
    }
    const QString hotKey = SettingsTable::hotKeySection();
    for (int n = 1; n <= HotKeyCount; ++n) {
        for (int f = 0; f < HotKeyFieldCount; ++f) {
            const auto field = static_cast<HotKeyField>(f);
            m_hotKeys[hotKeyIndex(n)][fieldIndex(field)] =
                ini.readIni(hotKey, SettingsTable::hotKeyKey(n, field),
                            SettingsTable::hotKeyReadDefault(n, field));
        }
    }
    return {};
}

QString Settings::value(Setting setting) const
{
    return m_values[settingIndex(setting)];
}

bool Settings::flag(Setting setting) const
{
    switch (SettingsTable::def(setting).kind) {
    case ValueKind::Flag:
        return value(setting) == QLatin1String("1");
    case ValueKind::FlagUnlessZero:
        return value(setting) != QLatin1String("0");
    default:
        return false;
    }
}

int Settings::integer(Setting setting) const
{
    const SettingDef& def = SettingsTable::def(setting);
    const int fallback = QString::fromLatin1(def.readDefault).toInt();
    bool ok = false;
    const int number = value(setting).toInt(&ok);
    if (!ok)
        return fallback;
    switch (def.kind) {
    case ValueKind::Number:
        return number >= def.min && number <= def.max ? number : fallback;
    case ValueKind::ClampedNumber:
        return std::clamp(number, def.min, def.max);
    default:
        return fallback;
    }
}

QString Settings::flagText(bool on)
{
    return on ? QStringLiteral("1") : QStringLiteral("0");
}

Result<void> Settings::setFlag(Setting setting, bool on)
{
    return setValue(setting, flagText(on));
}

bool Settings::hotKeyFlag(int n, HotKeyField field) const
{
    return hotKey(n, field) == QLatin1String("1");
}

Result<void> Settings::setHotKeyFlag(int n, HotKeyField field, bool on)
{
    return setHotKey(n, field, flagText(on));
}

Settings::SendKey Settings::autoPressSendKey() const
{
    const QStringList parts = value(Setting::AutoPressSendKey).split(QLatin1Char('|'));
    SendKey sendKey;
    sendKey.on = parts.first() == QLatin1String("1");
    if (parts.size() > 1)
        sendKey.key = parts.at(1);
    return sendKey;
}

QString Settings::hotKey(int n, HotKeyField field) const
{
    if (!validHotKey(n))
        return {};
    return m_hotKeys[hotKeyIndex(n)][fieldIndex(field)];
}

Result<void> Settings::setValue(Setting setting, const QString& value)
{
    // The file is read afresh so that whatever else changed in it since load() survives.
    IniFile ini(m_filePath);
    if (Result<void> loaded = ini.load(); !loaded)
        return loaded;
    const QString set = SettingsTable::setSection();
    const QString key = SettingsTable::key(setting);
    if (Result<void> written = ini.writeIni(set, key, value); !written)
        return written;
    m_values[settingIndex(setting)] = ini.readIni(set, key, readDefault(setting));
    emit changed(setting);
    return {};
}

Result<void> Settings::setHotKey(int n, HotKeyField field, const QString& value)
{
    if (!validHotKey(n))
        return Error{QStringLiteral("没有第 %1 个热键。").arg(n)};
    IniFile ini(m_filePath);
    if (Result<void> loaded = ini.load(); !loaded)
        return loaded;
    const QString section = SettingsTable::hotKeySection();
    const QString key = SettingsTable::hotKeyKey(n, field);
    if (Result<void> written = ini.writeIni(section, key, value); !written)
        return written;
    m_hotKeys[hotKeyIndex(n)][fieldIndex(field)] =
        ini.readIni(section, key, SettingsTable::hotKeyReadDefault(n, field));
    emit hotKeyChanged(n, field);
    return {};
}
