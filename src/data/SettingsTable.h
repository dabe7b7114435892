#pragma once

#include <QString>
#include <QStringList>

// Every key of config.ini is named here and spelled only in SettingsTable.cpp.

// The [Set] keys, in the order of the default file.
enum class Setting {
    StartCommon,
    StartProductKnowledge,
    StartGoodsType,
    StartProduct,
    StartCompanyAffairs,
    StartExpress,
    StartTop,
    StartInterface,
    DbClickChat,
    EndNewLineOne,
    EndNewLineTwo,
    SendCaptionDesc,
    AutoPressSendKey,
    StartHotKey,
    DefaultShowHotKeyContent,
    AddHotKeyEndNewLine,
    QueryShowSimpleFlag,
    QueryShowFileFlag,
    QueryShowToolsFlag,
    QueryShowPersonalFlag,
    StartLoadSimple,
    StartLoadFile,
    StartLoadTools,
    StartLoadPersonal,
    TypeDelMode,
    MainNewAfterFlag,
    StartLoadQuery,
    MessageSound,
    CloseMainNewEditPrompt,
    QueryBarShowFlag,
    KeepInputFocus,
    DatabasePath,
    BackupInitPath,
    BackupInitPathPer,
    Sort,
    MainFontSize,
    XiFuQQ,
    XiFuWeiXin,
    XiFuQiYeWeiXin,
    XiFuQianNiu,
    XiFuWangWang,
    XiFuDingDing,
    XiFuBaiduShangQiao,
    XiFuMainShowPos,
    LeftAndRightHideMini,
    WinToolTip,
    TreeToolTip,
    MainStartTopSize,
    StartMainWidth,
    StartMainHeight,
    CustomSortInitialize,
    FileTitleExtName,
    ToolsTitleExtName,
    // Kept only in files the user edits: not part of the default file.
    XiFuCustomWindows,
    PicMaxSize,
    FileMaxSize,
    QueryBestMatchFirst,
};
inline constexpr int SettingCount = static_cast<int>(Setting::QueryBestMatchFirst) + 1;

// The five keys that each of the twelve hot keys has in [HotKey], in the default file's order.
enum class HotKeyField { Key, KeyCode, ModKeyCode, SendContent, CaptionDescFlag };
inline constexpr int HotKeyCount = 12;
inline constexpr int HotKeyFieldCount = 5;

// How a value is read. Flags are texts, and keys differ in which text means on.
enum class ValueKind {
    Text,
    Flag,           // on only when "1"
    FlagUnlessZero, // on unless "0"
    Number,         // an integer; outside [min, max], or not a number, it reads as the default
    ClampedNumber,  // an integer brought into [min, max]; not a number reads as the default
};

struct SettingDef {
    Setting id;
    const char* key;         // as it is written in the default file
    const char* written;     // value in the default file
    const char* readDefault; // value when the key is absent
    ValueKind kind = ValueKind::Text;
    int min = 0;
    int max = 0;
    bool inDefaultFile = true; // false: read when present, never written by ensureFile
};

namespace SettingsTable {

QString setSection();    // "Set"
QString hotKeySection(); // "HotKey"

const SettingDef& def(Setting setting);
QString key(Setting setting); // trimmed, as readers look it up

// n is 1..12. The modifier key is spelled with a lowercase "k", as the default file has it.
QString hotKeyKey(int n, HotKeyField field);
QString hotKeyWrittenDefault(int n, HotKeyField field);
// A missing combination reads as unset ("无", codes 0).
QString hotKeyReadDefault(int n, HotKeyField field);

// The default config.ini, line by line, in its fixed order.
QStringList defaultFileLines();

} // namespace SettingsTable
