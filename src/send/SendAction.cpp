#include "send/SendAction.h"

#include "data/Settings.h"
#include "send/TextComposer.h"

namespace {

bool hasPicture(SearchKind kind)
{
    return kind == SearchKind::Knowledge || kind == SearchKind::Personal;
}

// A tool may be a program, a document or a web address; an address is opened by the browser.
bool isWebAddress(const QString& path)
{
    return path.startsWith(u"http://", Qt::CaseInsensitive) ||
           path.startsWith(u"https://", Qt::CaseInsensitive) ||
           path.startsWith(u"www.", Qt::CaseInsensitive);
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
        // Reading an affair in its view window is not a use; following its link is.
        if (entry.flag != 0) {
            a.type = Type::OpenUrl;
            a.target = entry.url.trimmed();
            a.countUse = true;
        } else {
            a.type = Type::OpenView;
        }
        return a;
    case SearchKind::Tool:
        a.target = entry.path.trimmed();
        a.type = isWebAddress(a.target) ? Type::OpenUrl : Type::OpenTool;
        // A tool opened from a query list is not counted as a use.
        a.countUse = source != ClickSource::QueryList;
        return a;
    default:
        break;
    }
    if (!settings.flag(Setting::DbClickChat)) {
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
