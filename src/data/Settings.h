#pragma once

#include "data/Result.h"
#include "data/SettingsTable.h"

#include <QObject>
#include <QString>
#include <array>

// The settings of config.ini, read whole at start-up and written key by key. Values are kept
// as the text that was read; how a key reads as a flag or a number is its row in SettingsTable.
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
    // A Flag or FlagUnlessZero key, by its rule; false for any other key.
    bool flag(Setting setting) const;
    // A Number or ClampedNumber key, by its rule (sizes and places are twips); the read default
    // for any other key.
    int integer(Setting setting) const;

    // AutoPressSendKey split at "|": the flag, then the key pressed after pasting.
    struct SendKey {
        bool on = false;
        QString key; // "CtrlEnter" or "Enter"
    };
    SendKey autoPressSendKey() const;

    QString hotKey(int n, HotKeyField field) const;
    // K<n>CaptionDescFlag: on only when "1".
    bool hotKeyFlag(int n, HotKeyField field) const;

    // Writes the key to the file at once and keeps the new value; emits changed().
    Result<void> setValue(Setting setting, const QString& value);
    Result<void> setHotKey(int n, HotKeyField field, const QString& value);
    // Flags are written "1" and "0".
    Result<void> setFlag(Setting setting, bool on);
    Result<void> setHotKeyFlag(int n, HotKeyField field, bool on);
    static QString flagText(bool on);

signals:
    void changed(Setting setting);
    void hotKeyChanged(int n, HotKeyField field);

private:
    QString m_filePath;
    std::array<QString, SettingCount> m_values;
    std::array<std::array<QString, HotKeyFieldCount>, HotKeyCount> m_hotKeys;
};
