#pragma once

#include "data/Result.h"
#include "data/SettingsTable.h"

#include <QObject>
#include <QString>
#include <array>

// The settings of config.ini, read whole at start-up and written key by key. Values are kept
// as the text that was read; flags are "1" and "0".
class Settings : public QObject {
    Q_OBJECT
public:
    explicit Settings(QString filePath, QObject* parent = nullptr);

    QString filePath() const { return m_filePath; }

    // Writes the default file when it is missing. Fails with "配置文件不存在！" when the file
    // still does not exist afterwards.
    static Result<void> ensureFile(const QString& filePath);

    // Reads every [Set] key and every [HotKey] key into memory.
    Result<void> load();

    QString value(Setting setting) const;
    bool flag(Setting setting) const { return value(setting) == QLatin1String("1"); }
    // MainStartTopSize, StartMainWidth, StartMainHeight: twips. A value that is not a number
    // counts as the key's read default.
    int integer(Setting setting) const;

    // AutoPressSendKey split at "|": the flag, then the key pressed after pasting.
    struct SendKey {
        bool on = false;
        QString key; // "CtrlEnter" or "Enter"
    };
    SendKey autoPressSendKey() const;

    QString hotKey(int n, HotKeyField field) const;

    // Writes the key to the file at once and keeps the new value; emits changed().
    Result<void> setValue(Setting setting, const QString& value);
    Result<void> setHotKey(int n, HotKeyField field, const QString& value);

signals:
    void changed(Setting setting);
    void hotKeyChanged(int n, HotKeyField field);

private:
    QString m_filePath;
    std::array<QString, SettingCount> m_values;
    std::array<std::array<QString, HotKeyFieldCount>, HotKeyCount> m_hotKeys;
};
