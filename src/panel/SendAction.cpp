#include "SendAction.h"

#include "Settings.h"

namespace TextComposer {

QString lineBreak()
{
#ifdef Q_OS_WIN
    return QStringLiteral("\r\n");
#else
    return QStringLiteral("\n");
#endif
}

QString compose(SearchKind kind, const QString& title, const QString& description,
                const Settings& settings)
{
    QString text;
    if (kind == SearchKind::Simple)
        text = title.trimmed();
    else if (settings.value(Setting::SendCaptionDesc) != QLatin1String("0"))
        text = title.trimmed() + lineBreak() + description.trimmed();
    else
        text = description.trimmed();
    // The two flags are independent: either alone gives one line break.
    if (settings.flag(Setting::EndNewLineOne))
        text += lineBreak();
    if (settings.flag(Setting::EndNewLineTwo))
        text += lineBreak();
    return text;
}

} // namespace TextComposer

namespace {

bool hasPicture(SearchKind kind)
{
    return kind == SearchKind::Knowledge || kind == SearchKind::Personal;
}

} // namespace

SendAction SendAction::forDoubleClick(const EntryRef& entry, bool onIcon, ClickSource source,
                                      const Settings& settings)
{
    SendAction a;
    a.kind = entry.kind;
    a.id = entry.id;
    if (entry.id == 0)
        return a;

    if (onIcon && hasPicture(entry.kind)) {
        a.type = Type::SendPicture;
        a.countUse = true;
        return a;
    }
    switch (entry.kind) {
    case SearchKind::Affair:
    case SearchKind::Courier:
        a.countUse = true;
        if (entry.flag != 0) {
            a.type = Type::OpenUrl;
            a.target = entry.url.trimmed();
        } else {
            a.type = Type::OpenView;
        }
        return a;
    case SearchKind::Tool:
        a.type = Type::OpenTool;
        a.target = entry.path.trimmed();
        // A tool opened from a query list is not counted as a use.
        a.countUse = source != ClickSource::QueryList;
        return a;
    default:
        break;
    }
    if (settings.value(Setting::DbClickChat) == QLatin1String("0")) {
        a.type = Type::OpenView;
        return a;
    }
    a.countUse = true;
    if (entry.kind == SearchKind::File) {
        a.type = Type::SendFile;
        return a;
    }
    a.type = Type::SendText;
    a.text = TextComposer::compose(entry.kind, entry.title, entry.description, settings);
    return a;
}
