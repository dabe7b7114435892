#pragma once

#include "data/Result.h"

#include <QLatin1StringView>
#include <QString>

// Starting the panel when the user logs in: an XDG autostart entry on Linux desktops, the
// user's Run key on Windows. The entry itself is the setting, so what the settings window shows
// is what the desktop will do.
class AutoStart {
public:
    // `program` is the executable, `dataFolder` the program folder the panel uses. The started
    // panel gets StartedArgument and waits in the tray.
    AutoStart(QString program, QString dataFolder);

    static constexpr QLatin1StringView StartedArgument{"--autostart"};

    bool isEnabled() const;
    Result<void> setEnabled(bool on);

    // Where the Linux entry lives: $XDG_CONFIG_HOME/autostart (~/.config/autostart).
    static QString linuxEntryPath();
    // The entry's Exec line, each argument quoted as desktops read Exec lines.
    QString execLine() const;

private:
    QString m_program;
    QString m_dataFolder;
};
