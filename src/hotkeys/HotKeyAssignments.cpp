#include "hotkeys/HotKeyAssignments.h"

#include "data/Columns.h"
#include "data/Settings.h"
#include "data/Store.h"
#include "send/SendAction.h"
#include "send/TextComposer.h"

#include <QStringList>
#include <algorithm>

namespace {

std::size_t slot(int index)
{
    return static_cast<std::size_t>(index);
}

} // namespace

void HotKeyAssignments::load(const Settings& settings)
{
    for (int i = 0; i < Count; ++i) {
        m_contents[slot(i)] = settings.hotKey(i + 1, HotKeyField::SendContent);
        m_captionFlags[slot(i)] = settings.hotKeyFlag(i + 1, HotKeyField::CaptionDescFlag);
    }
}

QString HotKeyAssignments::content(int index) const
{
    return validIndex(index) ? m_contents[slot(index)] : QString();
}

bool HotKeyAssignments::captionFlag(int index) const
{
    return validIndex(index) && m_captionFlags[slot(index)];
}

void HotKeyAssignments::set(int index, const QString& content, bool captionFlag)
{
    if (!validIndex(index))
        return;
    m_contents[slot(index)] = content;
    m_captionFlags[slot(index)] = captionFlag;
}

QList<qint64> HotKeyAssignments::parseIds(const QString& content)
{
    QList<qint64> ids;
    for (const QString& part : content.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        bool ok = false;
        const qint64 id = part.trimmed().toLongLong(&ok);
        // Anything but an entry's id (a hand-edited file) is passed over rather than guessed at.
        if (ok && id > 0 && !ids.contains(id))
            ids << id;
    }
    return ids;
}

QString HotKeyAssignments::joinIds(const QList<qint64>& ids)
{
    QStringList parts;
    for (qint64 id : ids)
        parts << QString::number(id);
    return parts.join(QLatin1Char(','));
}

Result<QList<HotKeyEntry>> HotKeyAssignments::entries(Store& store, const QList<qint64>& ids)
{
    QList<qint64> sorted = ids;
    std::sort(sorted.begin(), sorted.end());
    QList<HotKeyEntry> out;
    for (qint64 id : sorted) {
        const Result<std::optional<Row>> row =
            store.row(Table::Knowledge, id, {Column::Name, Column::Description});
        if (!row)
            return row.error();
        // An entry deleted since it was chosen is simply no longer pasted.
        if (!row.value())
            continue;
        out.append({id, row.value()->value(Column::Name).toString(),
                    row.value()->value(Column::Description).toString()});
    }
    return out;
}

QString HotKeyAssignments::compose(const QList<HotKeyEntry>& entries, bool withTitle,
                                   bool endNewLine)
{
    const QString lineBreak = TextComposer::lineBreak();
    QString text;
    for (const HotKeyEntry& e : entries) {
        if (withTitle)
            text += e.name.trimmed() + lineBreak;
        text += e.description.trimmed() + lineBreak + lineBreak;
    }
    if (!endNewLine)
        text.chop(2 * lineBreak.size());
    return text;
}

Result<QString> HotKeyAssignments::pressText(int index, Store& store,
                                             const Settings& settings) const
{
    if (!validIndex(index))
        return Error{QStringLiteral("没有第 %1 个热键。").arg(index + 1)};
    const QList<qint64> ids = parseIds(content(index));
    if (ids.isEmpty())
        return QString();
    const Result<QList<HotKeyEntry>> found = entries(store, ids);
    if (!found)
        return found.error();
    if (found.value().isEmpty())
        return QString();
    return compose(found.value(), captionFlag(index), settings.flag(Setting::AddHotKeyEndNewLine));
}
