#include "data/SettingsTable.h"

#include "keys/KeyCodes.h"

#include <array>

namespace {

// Key spellings are copied from installed files: "DefaultShowHotKeyContent " carries a blank
// before the "=" that readers trim away.
using enum ValueKind;

// Sizes and places are twips: 1500 is 100 pixels, 60000 is 4000 at the usual 96 dots per inch.
constexpr std::array<SettingDef, SettingCount> definitions{{
    {Setting::StartCommon, "StartCommon", "1", "1", Flag},
    {Setting::StartProductKnowledge, "StartProductKnowledge", "1", "1", Flag},
    {Setting::StartGoodsType, "StartGoodsType", "1", "1", Flag},
    {Setting::StartProduct, "StartProduct", "1", "1", Flag},
    {Setting::StartCompanyAffairs, "StartCompanyAffairs", "1", "1", Flag},
    {Setting::StartExpress, "StartExpress", "1", "1", Flag},
    {Setting::StartTop, "StartTop", "1", "1", Flag},
    {Setting::StartInterface, "StartInterface", "1", "1", Number, 1, 6},
    {Setting::DbClickChat, "DbClickChat", "1", "1", FlagUnlessZero},
    {Setting::EndNewLineOne, "EndNewLineOne", "1", "1", Flag},
    {Setting::EndNewLineTwo, "EndNewLineTwo", "0", "1", Flag},
    {Setting::SendCaptionDesc, "SendCaptionDesc", "0", "0", FlagUnlessZero},
    {Setting::AutoPressSendKey, "AutoPressSendKey", "0|CtrlEnter", "0|CtrlEnter"},
    {Setting::StartHotKey, "StartHotKey", "0", "1", Flag},
    {Setting::DefaultShowHotKeyContent, "DefaultShowHotKeyContent ", "1", "1", Flag},
    {Setting::AddHotKeyEndNewLine, "AddHotKeyEndNewLine", "0", "1", FlagUnlessZero},
    {Setting::QueryShowSimpleFlag, "QueryShowSimpleFlag", "1", "1", Flag},
    {Setting::QueryShowFileFlag, "QueryShowFileFlag", "1", "1", Flag},
    {Setting::QueryShowToolsFlag, "QueryShowToolsFlag", "1", "1", Flag},
    {Setting::QueryShowPersonalFlag, "QueryShowPersonalFlag", "1", "1", Flag},
    {Setting::StartLoadSimple, "StartLoadSimple", "1", "1", Flag},
    {Setting::StartLoadFile, "StartLoadFile", "1", "1", Flag},
    {Setting::StartLoadTools, "StartLoadTools", "1", "1", Flag},
    {Setting::StartLoadPersonal, "StartLoadPersonal", "1", "1", Flag},
    {Setting::TypeDelMode, "TypeDelMode", "1", "1", FlagUnlessZero},
    {Setting::MainNewAfterFlag, "MainNewAfterFlag", "0", "0", Flag},
    {Setting::StartLoadQuery, "StartLoadQuery", "0", "0", Flag},
    {Setting::MessageSound, "MessageSound", "1", "1", Flag},
    {Setting::CloseMainNewEditPrompt, "CloseMainNewEditPrompt", "1", "0", FlagUnlessZero},
    {Setting::QueryBarShowFlag, "QueryBarShowFlag", "1", "1", Flag},
    {Setting::KeepInputFocus, "KeepInputFocus", "1", "1", Flag},
    {Setting::DatabasePath, "DatabasePath", "", ""},
    {Setting::BackupInitPath, "BackupInitPath", "", ""},
    {Setting::BackupInitPathPer, "BackupInitPathPer", "", ""},
    {Setting::Sort, "Sort", "1", "1"},
    {Setting::MainFontSize, "MainFontSize", "small", "small"},
    {Setting::XiFuQQ, "XiFuQQ", "1", "1", Flag},
    {Setting::XiFuWeiXin, "XiFuWeiXin", "1", "1", Flag},
    {Setting::XiFuQiYeWeiXin, "XiFuQiYeWeiXin", "1", "1", Flag},
    {Setting::XiFuQianNiu, "XiFuQianNiu", "1", "1", Flag},
    {Setting::XiFuWangWang, "XiFuWangWang", "1", "1", Flag},
    {Setting::XiFuDingDing, "XiFuDingDing", "1", "1", Flag},
    {Setting::XiFuBaiduShangQiao, "XiFuBaiduShangQiao", "1", "1", Flag},
    {Setting::XiFuMainShowPos, "XiFuMainShowPos", "2", "2"},
    {Setting::LeftAndRightHideMini, "LeftAndRightHideMini", "1", "0", Flag},
    {Setting::WinToolTip, "WinToolTip", "1", "1", Flag},
    {Setting::TreeToolTip, "TreeToolTip", "0", "0", Flag},
    {Setting::MainStartTopSize, "MainStartTopSize", "360", "80", ClampedNumber, 0, 60000},
    {Setting::StartMainWidth, "StartMainWidth", "4500", "4500", ClampedNumber, 1500, 60000},
    {Setting::StartMainHeight, "StartMainHeight", "9450", "7380", ClampedNumber, 1500, 60000},
    {Setting::CustomSortInitialize, "CustomSortInitialize", "0", "0", Flag},
    {Setting::FileTitleExtName, "FileTitleExtName", "1", "1", Flag},
    {Setting::ToolsTitleExtName, "ToolsTitleExtName", "0", "0", Flag},
    // Chat windows of the user's own choosing: "class" or "class|title pattern", joined by ";".
    {Setting::XiFuCustomWindows, "XiFuCustomWindows", "", "", Text, 0, 0, false},
    // The largest picture and stored file accepted, in whole megabytes (16 bits, as older
    // configurations stored them).
    {Setting::PicMaxSize, "PicMaxSize", "5", "5", Number, 1, 32767, false},
    {Setting::FileMaxSize, "FileMaxSize", "20", "20", Number, 1, 32767, false},
    // Search hits ranked by how well they fit before the list order; off keeps the list order.
    {Setting::QueryBestMatchFirst, "QueryBestMatchFirst", "0", "0", Flag, 0, 0, false},
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
        return QString::number(VirtualKey::F1 + n - 1);
    case HotKeyField::ModKeyCode:
        return QString::number(n <= lastPlainHotKey ? 0 : ModifierMask::Control);
    case HotKeyField::SendContent:
        return {};
    case HotKeyField::CaptionDescFlag:
        return QStringLiteral("0");
    }
    return {};
}

// A hot key missing from the file is unset: the default file's F-keys are for new installations.
QString hotKeyReadDefault(int n, HotKeyField field)
{
    switch (field) {
    case HotKeyField::Key:
        return QStringLiteral("无");
    case HotKeyField::KeyCode:
    case HotKeyField::ModKeyCode:
        return QStringLiteral("0");
    default:
        return hotKeyWrittenDefault(n, field);
    }
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
