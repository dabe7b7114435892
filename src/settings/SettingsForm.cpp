#include "settings/SettingsForm.h"

#include "data/Settings.h"
#include "data/SortOrder.h"
#include "widgets/FontPreset.h"

#include <QStringList>

namespace {

// The box's check follows the key's own rule, so a flag on unless "0" shows checked for any
// other text, as the program reads it.
bool boxChecked(Setting key, const QString& value)
{
    if (SettingsTable::def(key).kind == ValueKind::FlagUnlessZero)
        return value != QLatin1String("0");
    return value == QLatin1String("1");
}

// StartInterface outside its range acts as its read default, as Settings::integer reads it.
int tabNumber(const QString& value)
{
    const SettingDef& def = SettingsTable::def(Setting::StartInterface);
    bool ok = false;
    const int n = value.toInt(&ok);
    return ok && n >= def.min && n <= def.max ? n : QString::fromLatin1(def.readDefault).toInt();
}

int sortNumber(const QString& value)
{
    switch (SortOrder::mode(value)) {
    case SortOrder::Mode::IdAscending:
        return 1;
    case SortOrder::Mode::IdDescending:
        return 2;
    case SortOrder::Mode::MostUsed:
        return 3;
    case SortOrder::Mode::Custom:
        return 4;
    }
    return 1;
}

SettingsForm::SendKey sendKeyOf(const QString& name)
{
    if (name == QLatin1String("Enter"))
        return SettingsForm::SendKey::Enter;
    if (name == QLatin1String("CtrlEnter"))
        return SettingsForm::SendKey::CtrlEnter;
    return SettingsForm::SendKey::None;
}

QString sendKeyText(SettingsForm::SendKey key)
{
    switch (key) {
    case SettingsForm::SendKey::Enter:
        return QStringLiteral("Enter");
    case SettingsForm::SendKey::CtrlEnter:
        return QStringLiteral("CtrlEnter");
    case SettingsForm::SendKey::None:
        break;
    }
    return QStringLiteral("0");
}

} // namespace

const QList<Setting>& SettingsForm::keys()
{
    static const QList<Setting> all = [] {
        QList<Setting> list;
        for (int i = 0; i <= static_cast<int>(Setting::XiFuMainShowPos); ++i)
            list << static_cast<Setting>(i);
        list << Setting::XiFuCustomWindows;
        return list;
    }();
    return all;
}

const QList<Setting>& SettingsForm::boxKeys()
{
    // Every flag the window writes is a check box.
    static const QList<Setting> boxes = [] {
        QList<Setting> list;
        for (Setting key : keys()) {
            const ValueKind kind = SettingsTable::def(key).kind;
            if (kind == ValueKind::Flag || kind == ValueKind::FlagUnlessZero)
                list << key;
        }
        return list;
    }();
    return boxes;
}

SettingsForm SettingsForm::fromValues(const std::function<QString(Setting)>& value)
{
    SettingsForm form;
    for (Setting box : boxKeys())
        form.setChecked(box, boxChecked(box, value(box)));
    form.startInterface = tabNumber(value(Setting::StartInterface));
    const QStringList send = value(Setting::AutoPressSendKey).split(QLatin1Char('|'));
    form.autoSend = send.first() == QLatin1String("1");
    form.sendKey = sendKeyOf(send.value(1));
    // The panel docks on the left only for "1".
    form.followPosition = value(Setting::XiFuMainShowPos) == QLatin1String("1") ? 1 : 2;
    form.sort = sortNumber(value(Setting::Sort));
    form.fontSize = FontPreset::fromSetting(value(Setting::MainFontSize)).settingValue();
    form.databasePath = value(Setting::DatabasePath);
    form.backupPath = value(Setting::BackupInitPath);
    form.backupPathPer = value(Setting::BackupInitPathPer);
    form.customWindows = value(Setting::XiFuCustomWindows);
    return form;
}

SettingsForm SettingsForm::read(const Settings& settings)
{
    return fromValues([&settings](Setting key) { return settings.value(key); });
}

SettingsForm SettingsForm::defaults()
{
    return fromValues(
        [](Setting key) { return QString::fromLatin1(SettingsTable::def(key).written).trimmed(); });
}

QList<std::pair<Setting, QString>> SettingsForm::entries() const
{
    QList<std::pair<Setting, QString>> out;
    for (Setting key : keys()) {
        QString text;
        switch (key) {
        case Setting::StartInterface:
            text = QString::number(startInterface);
            break;
        case Setting::AutoPressSendKey:
            text = Settings::flagText(autoSend) + QLatin1Char('|') + sendKeyText(sendKey);
            break;
        case Setting::XiFuMainShowPos:
            text = QString::number(followPosition);
            break;
        case Setting::Sort:
            text = QString::number(sort);
            break;
        case Setting::MainFontSize:
            text = fontSize;
            break;
        case Setting::DatabasePath:
            text = databasePath.trimmed();
            break;
        case Setting::BackupInitPath:
            text = backupPath.trimmed();
            break;
        case Setting::BackupInitPathPer:
            text = backupPathPer.trimmed();
            break;
        case Setting::XiFuCustomWindows:
            text = customWindows.trimmed();
            break;
        default:
            text = Settings::flagText(checked(key));
            break;
        }
        out.append({key, text});
    }
    return out;
}
