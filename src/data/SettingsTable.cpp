#include "data/SettingsTable.h"

#include <array>

namespace {

// Key spellings are copied from installed files: "DefaultShowHotKeyContent " carries a blank
// before the "=" that readers trim away.
constexpr std::array<SettingDef, SettingCount> definitions{{
    {Setting::StartCommon, "StartCommon", "1", "1"},
    {Setting::StartProductKnowledge, "StartProductKnowledge", "1", "1"},
    {Setting::StartGoodsType, "StartGoodsType", "1", "1"},
    {Setting::StartProduct, "StartProduct", "1", "1"},
    {Setting::StartCompanyAffairs, "StartCompanyAffairs", "1", "1"},
    {Setting::StartExpress, "StartExpress", "1", "1"},
    {Setting::StartTop, "StartTop", "1", "1"},
    {Setting::StartInterface, "StartInterface", "1", "1"},
    {Setting::DbClickChat, "DbClickChat", "1", "1"},
    {Setting::EndNewLineOne, "EndNewLineOne", "1", "1"},
    {Setting::EndNewLineTwo, "EndNewLineTwo", "0", "1"},
    {Setting::SendCaptionDesc, "SendCaptionDesc", "0", "0"},
    {Setting::AutoPressSendKey, "AutoPressSendKey", "0|CtrlEnter", "0|CtrlEnter"},
    {Setting::StartHotKey, "StartHotKey", "0", "1"},
    {Setting::DefaultShowHotKeyContent, "DefaultShowHotKeyContent ", "1", "1"},
    {Setting::AddHotKeyEndNewLine, "AddHotKeyEndNewLine", "0", "1"},
    {Setting::QueryShowSimpleFlag, "QueryShowSimpleFlag", "1", "1"},
    {Setting::QueryShowFileFlag, "QueryShowFileFlag", "1", "1"},
    {Setting::QueryShowToolsFlag, "QueryShowToolsFlag", "1", "1"},
    {Setting::QueryShowPersonalFlag, "QueryShowPersonalFlag", "1", "1"},
    {Setting::StartLoadSimple, "StartLoadSimple", "1", "1"},
    {Setting::StartLoadFile, "StartLoadFile", "1", "1"},
    {Setting::StartLoadTools, "StartLoadTools", "1", "1"},
    {Setting::StartLoadPersonal, "StartLoadPersonal", "1", "1"},
    {Setting::TypeDelMode, "TypeDelMode", "1", "1"},
    {Setting::MainNewAfterFlag, "MainNewAfterFlag", "0", "0"},
    {Setting::StartLoadQuery, "StartLoadQuery", "0", "0"},
    {Setting::MessageSound, "MessageSound", "1", "1"},
    {Setting::CloseMainNewEditPrompt, "CloseMainNewEditPrompt", "1", "0"},
    {Setting::QueryBarShowFlag, "QueryBarShowFlag", "1", "1"},
    {Setting::KeepInputFocus, "KeepInputFocus", "1", "1"},
    {Setting::DatabasePath, "DatabasePath", "", ""},
    {Setting::BackupInitPath, "BackupInitPath", "", ""},
    {Setting::BackupInitPathPer, "BackupInitPathPer", "", ""},
    {Setting::Sort, "Sort", "1", "1"},
    {Setting::MainFontSize, "MainFontSize", "small", "small"},
    {Setting::XiFuQQ, "XiFuQQ", "1", "1"},
    {Setting::XiFuWeiXin, "XiFuWeiXin", "1", "1"},
    {Setting::XiFuQiYeWeiXin, "XiFuQiYeWeiXin", "1", "1"},
    {Setting::XiFuQianNiu, "XiFuQianNiu", "1", "1"},
    {Setting::XiFuWangWang, "XiFuWangWang", "1", "1"},
    {Setting::XiFuDingDing, "XiFuDingDing", "1", "1"},
    {Setting::XiFuBaiduShangQiao, "XiFuBaiduShangQiao", "1", "1"},
    {Setting::XiFuMainShowPos, "XiFuMainShowPos", "2", "2"},
    {Setting::LeftAndRightHideMini, "LeftAndRightHideMini", "1", "0"},
    {Setting::WinToolTip, "WinToolTip", "1", "1"},
    {Setting::TreeToolTip, "TreeToolTip", "0", "0"},
    {Setting::MainStartTopSize, "MainStartTopSize", "360", "80"},
    {Setting::StartMainWidth, "StartMainWidth", "4500", "4500"},
    {Setting::StartMainHeight, "StartMainHeight", "9450", "7380"},
    {Setting::CustomSortInitialize, "CustomSortInitialize", "0", "0"},
    {Setting::FileTitleExtName, "FileTitleExtName", "1", "1"},
    {Setting::ToolsTitleExtName, "ToolsTitleExtName", "0", "0"},
    // Chat windows of the user's own choosing: "class" or "class|title pattern", joined by ";".
    {Setting::XiFuCustomWindows, "XiFuCustomWindows", "", "", false},
    // The largest picture and stored file accepted, in whole megabytes.
    {Setting::PicMaxSize, "PicMaxSize", "5", "5", false},
    {Setting::FileMaxSize, "FileMaxSize", "20", "20", false},
}};

// def() indexes the table by the enum, so a missing or misplaced row must not compile.
constexpr bool inEnumOrder()
{
    for (int i = 0; i < SettingCount; ++i) {
        if (static_cast<int>(definitions[static_cast<std::size_t>(i)].id) != i ||
            definitions[static_cast<std::size_t>(i)].key == nullptr)
            return false;
    }
    return true;
}
static_assert(inEnumOrder(), "the settings table must list every Setting in enum order");

// Hot keys 1..11 default to F1..F11 without a modifier, the twelfth to Ctrl + F12.
constexpr int lastPlainHotKey = 11;
constexpr int firstFunctionKeyCode = 112; // VK_F1
constexpr int ctrlModifier = 2;

bool validHotKey(int n)
{
    return n >= 1 && n <= HotKeyCount;
}

} // namespace

namespace SettingsTable {

QString setSection()
{
    return QStringLiteral("Set");
}

QString hotKeySection()
{
    return QStringLiteral("HotKey");
}

const SettingDef& def(Setting setting)
{
    return definitions[static_cast<std::size_t>(setting)];
}

QString key(Setting setting)
{
    return QString::fromLatin1(def(setting).key).trimmed();
}

QString hotKeyKey(int n, HotKeyField field)
{
    Q_ASSERT(validHotKey(n));
    if (!validHotKey(n))
        return {};
    const QString number = QString::number(n);
    switch (field) {
    case HotKeyField::Key:
        return QLatin1Char('K') + number;
    case HotKeyField::KeyCode:
        return QLatin1Char('K') + number + QLatin1String("KeyCode");
    case HotKeyField::ModKeyCode:
        return QLatin1Char('k') + number + QLatin1String("ModKeyCode");
    case HotKeyField::SendContent:
        return QLatin1Char('K') + number + QLatin1String("SendContent");
    case HotKeyField::CaptionDescFlag:
        return QLatin1Char('K') + number + QLatin1String("CaptionDescFlag");
    }
    return {};
}

QString hotKeyWrittenDefault(int n, HotKeyField field)
{
    Q_ASSERT(validHotKey(n));
    if (!validHotKey(n))
        return {};
    switch (field) {
    case HotKeyField::Key:
        return n <= lastPlainHotKey ? QLatin1Char('F') + QString::number(n)
                                    : QStringLiteral("Ctrl + F") + QString::number(n);
    case HotKeyField::KeyCode:
        return QString::number(firstFunctionKeyCode + n - 1);
    case HotKeyField::ModKeyCode:
        return QString::number(n <= lastPlainHotKey ? 0 : ctrlModifier);
    case HotKeyField::SendContent:
        return {};
    case HotKeyField::CaptionDescFlag:
        return QStringLiteral("0");
    }
    return {};
}

QString hotKeyReadDefault(int n, HotKeyField field)
{
    return hotKeyWrittenDefault(n, field);
}

QStringList defaultFileLines()
{
    QStringList lines;
    lines.reserve(2 + SettingCount + HotKeyCount * HotKeyFieldCount);
    lines << QLatin1Char('[') + setSection() + QLatin1Char(']');
    for (const SettingDef& d : definitions) {
        if (d.inDefaultFile)
            lines << QString::fromLatin1(d.key) + QLatin1Char('=') + QString::fromLatin1(d.written);
    }
    lines << QLatin1Char('[') + hotKeySection() + QLatin1Char(']');
    for (int n = 1; n <= HotKeyCount; ++n) {
        for (int f = 0; f < HotKeyFieldCount; ++f) {
            const auto field = static_cast<HotKeyField>(f);
            lines << hotKeyKey(n, field) + QLatin1Char('=') + hotKeyWrittenDefault(n, field);
        }
    }
    return lines;
}

} // namespace SettingsTable
