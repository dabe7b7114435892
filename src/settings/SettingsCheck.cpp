#include "settings/SettingsCheck.h"

#include "data/PgUrl.h"
#include "data/ServerLink.h"
#include "settings/SettingsForm.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStringList>

namespace {

using Verdict = SettingsCheck::Verdict;
using Field = SettingsCheck::Field;

// Too long a text is refused before it is looked up; an empty path is the program folder.
Verdict checkPath(const QString& text, const QString& name, Field field,
                  const QString& programFolder)
{
    if (text.size() > SettingsCheck::MaxPathLength)
        return {name + QStringLiteral("字符数量,不能超过%1!").arg(SettingsCheck::MaxPathLength),
                field};
    const QString path = text.trimmed();
    if (path.isEmpty())
        return {};
    // The shared store may live on a database server instead of a folder.
    if (field == Field::DatabasePath && ServerLink::isAddress(path)) {
        if (const Result<PgUrl> url = PgUrl::parse(path); !url)
            return {url.message(), field};
        return {};
    }
    if (!QFileInfo(QDir(programFolder).filePath(path)).isDir())
        return {name + QStringLiteral("不存在!"), field};
    return {};
}

} // namespace

Verdict SettingsCheck::check(const SettingsForm& form, const QString& programFolder)
{
    if (form.startInterface == 0)
        return {QStringLiteral("软件启动时默认打开选项必须选择一个!")};
    if (form.autoSend && form.sendKey == SettingsForm::SendKey::None)
        return {QStringLiteral("启用自动按下聊天窗口发送快捷健时") + QStringLiteral("Enter") +
                QStringLiteral("和") + QStringLiteral("Ctrl+Enter") +
                QStringLiteral("必须选择其中一个!")};
    if (form.followPosition == 0)
        return {QStringLiteral("Tavro的跟随位置必须选择一个!")};
    const std::tuple<const QString&, QString, Field> paths[] = {
        {form.databasePath, QStringLiteral("共享数据库路径"), Field::DatabasePath},
        {form.backupPath, QStringLiteral("备份初始化路径"), Field::BackupPath},
        {form.backupPathPer, QStringLiteral("私人备份初始化路径"), Field::BackupPathPer},
    };
    for (const auto& [text, name, field] : paths) {
        if (Verdict v = checkPath(text, name, field, programFolder); !v.accepted())
            return v;
    }
    if (form.fontSize.isEmpty())
        return {QStringLiteral("字体尺寸必须选择一个!")};
    if (form.sort == 0)
        return {QStringLiteral("知识库排序必须选择一个!")};
    if (const QString bad = checkRules(form.customWindows); !bad.isEmpty())
        return {bad, Field::CustomWindows};
    return {};
}

// The rules are read as the docking reads them: only the first "|" separates, so a title
// pattern may use "|" for alternatives.
QString SettingsCheck::checkRules(const QString& rules)
{
    if (rules.trimmed().size() > MaxRulesLength)
        return QStringLiteral("自定义聊天窗口规则字符数量,不能超过%1!").arg(MaxRulesLength);
    for (const QString& raw : rules.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const QString rule = raw.trimmed();
        if (rule.isEmpty())
            continue;
        const qsizetype bar = rule.indexOf(QLatin1Char('|'));
        if ((bar < 0 ? rule : rule.first(bar)).trimmed().isEmpty())
            return QStringLiteral("自定义聊天窗口规则“%1”缺少窗口类名!").arg(rule);
        if (bar < 0)
            continue;
        const QRegularExpression title(rule.sliced(bar + 1).trimmed());
        if (!title.isValid())
            return QStringLiteral("自定义聊天窗口规则“%1”的标题表达式有误：%2")
                .arg(rule, title.errorString());
    }
    return {};
}
