#pragma once

class Settings;

// The largest picture and stored file accepted, in whole megabytes, read from [Set] of
// config.ini (PicMaxSize, FileMaxSize). A missing key or one that is not a positive number
// counts as the default.
class ContentLimits {
public:
    static constexpr int DefaultPictureMb = 5;
    static constexpr int DefaultFileMb = 20;

    static int pictureMb(const Settings& settings);
    static int fileMb(const Settings& settings);
};
