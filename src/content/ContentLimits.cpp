#include "content/ContentLimits.h"

#include "data/Settings.h"
#include "data/SettingsTable.h"

namespace {

// A limit that is not a positive number counts as the default; megabytes are kept as a 16-bit
// number, as older configurations stored them.
int limit(const Settings& settings, Setting key, int fallback)
{
    bool ok = false;
    const int value = settings.value(key).toInt(&ok);
    return ok && value > 0 && value <= 32767 ? value : fallback;
}

} // namespace

int ContentLimits::pictureMb(const Settings& settings)
{
    return limit(settings, Setting::PicMaxSize, DefaultPictureMb);
}

int ContentLimits::fileMb(const Settings& settings)
{
    return limit(settings, Setting::FileMaxSize, DefaultFileMb);
}
