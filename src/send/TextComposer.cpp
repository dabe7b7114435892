#include "send/TextComposer.h"

#include "data/Settings.h"

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
    else if (settings.flag(Setting::SendCaptionDesc))
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
