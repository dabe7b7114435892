#include "ContentLimits.h"

#include "IniFile.h"
#include "Settings.h"
#include "SettingsTable.h"

using namespace Qt::StringLiterals;

namespace {

// The settings table does not name these keys, so they are read from the file itself.
int readLimit(const Settings& settings, const QString& key, int fallback)
{
    IniFile ini(settings.filePath());
    if (!ini.load())
        return fallback;
    bool ok = false;
    const int value = ini.readIni(SettingsTable::setSection(), key, QString()).toInt(&ok);
    // The original kept the limit in a 16-bit integer.
    return ok && value > 0 && value <= 32767 ? value : fallback;
}

} // namespace

int ContentLimits::pictureMb(const Settings& settings)
{
    return readLimit(settings, u"PicMaxSize"_s, DefaultPictureMb);
}

int ContentLimits::fileMb(const Settings& settings)
{
    return readLimit(settings, u"FileMaxSize"_s, DefaultFileMb);
}
