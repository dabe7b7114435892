#pragma once

#include "data/SettingsTable.h"

#include <QList>
#include <QString>
#include <array>
#include <functional>
#include <utility>

class Settings;

// What the settings window holds, without its widgets: the state of every control, read from
// config.ini or from the default file, and the values confirming writes. A choice of option
// buttons is 0 while none of them is chosen.
class SettingsForm {
public:
    enum class SendKey { None, Enter, CtrlEnter };

    // The keys shown as check boxes, each written "1" when checked and "0" when not.
    static const QList<Setting>& boxKeys();
    // Every key the window writes, in the order of the default file.
    static const QList<Setting>& keys();

    // What the running program uses now: a value no control can show is shown as the one it
    // acts as (an unknown sort order is ascending, an unknown size small).
    static SettingsForm read(const Settings& settings);
    // The written defaults of the settings table (恢复默认).
    static SettingsForm defaults();

    bool checked(Setting box) const { return m_boxes[static_cast<std::size_t>(box)]; }
    void setChecked(Setting box, bool on) { m_boxes[static_cast<std::size_t>(box)] = on; }

    int startInterface = 0; // the panel's tab: 1 树结构 … 6 私人
    bool autoSend = false;
    SendKey sendKey = SendKey::None;
    int followPosition = 0; // 1 left of the chat window, 2 right of it
    int sort = 0;           // the Sort modes 1..4
    QString fontSize;       // "small", "middle", "big"
    QString databasePath;
    QString backupPath;
    QString backupPathPer;
    QString customWindows;

    // Every key of keys() with the value confirming writes.
    QList<std::pair<Setting, QString>> entries() const;

private:
    static SettingsForm fromValues(const std::function<QString(Setting)>& value);

    std::array<bool, SettingCount> m_boxes{};
};
