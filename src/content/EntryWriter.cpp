#include "content/EntryWriter.h"

#include "content/EntryValidator.h"
#include "data/Columns.h"
#include "data/DbError.h"

using namespace Qt::StringLiterals;

namespace {

QStringList listColumns(const KindDescriptor& kind)
{
    QStringList columns{Column::Id};
    for (const ColumnDef& c : Tables::columnDefs(kind.table)) {
        const QString name = QString::fromLatin1(c.name);
        if (c.type != ColumnType::Blob && c.type != ColumnType::Key)
            columns << name;
    }
    for (const FieldDef& f : kind.fields) {
        if (!f.nameColumn.isEmpty() && !columns.contains(f.nameColumn))
            columns << f.nameColumn;
    }
    return columns;
}

Query readQuery(const KindDescriptor& kind)
{
    Query q;
    q.table = kind.table;
    q.withNames = Tables::def(kind.table).view != nullptr;
    q.columns = listColumns(kind);
    q.blobPresence = Tables::def(kind.table).blobColumn != nullptr;
    for (auto it = kind.fixedValues.cbegin(); it != kind.fixedValues.cend(); ++it) {
        if (it.key() == Column::ItemId)
            q.where.append({it.key(), it.value()});
    }
    return q;
}

} // namespace

EntryWriter::EntryWriter(Store& store, const ContentFiles& files) : m_store(store), m_files(files)
{}

Row EntryWriter::rowFrom(const KindDescriptor& kind, const EntryValues& values) const
{
    Row row = kind.fixedValues;
    for (const FieldDef& f : kind.fields) {
        switch (f.type) {
        case FieldType::Line:
        case FieldType::Text:
        case FieldType::ToolPath: {
            QString t = EntryValidator::text(f, values);
            if (t.isEmpty() && !f.whenEmpty.isEmpty())
                t = f.whenEmpty;
            row.insert(f.column, t);
            break;
        }
        case FieldType::Check:
            row.insert(f.column, values.fields.value(f.column).toInt() == 1 ? 1 : 0);
            break;
        case FieldType::Category:
        case FieldType::ToolKind:
            row.insert(f.column, values.fields.value(f.column).toLongLong());
            break;
        case FieldType::Picture:
        case FieldType::File:
            switch (values.attachment.state) {
            case Attachment::State::Keep:
                break;
            case Attachment::State::Replace:
                row.insert(f.column, values.attachment.bytes);
                row.insert(Column::ExtName, values.attachment.extname);
                break;
            case Attachment::State::Clear:
                row.insert(f.column, QVariant(QMetaType(QMetaType::QByteArray)));
                row.insert(Column::ExtName, QString());
                break;
            }
            break;
        }
    }
    return row;
}

Result<QStringList> EntryWriter::copiesOf(const KindDescriptor& kind, const Where& where)
{
    if (kind.table != Table::File && !kind.fieldOfType(FieldType::Picture))
        return QStringList();
    Query q;
    q.table = kind.table;
    q.columns = {Column::Id, Column::Name, Column::ExtName};
    q.where = where;
    q.ordered = false;
    Result<QList<Row>> rows = m_store.rows(q);
    if (!rows)
        return rows.error();
    QStringList paths;
    for (const Row& r : rows.value()) {
        const QString ext = r.value(Column::ExtName).toString();
        paths << (kind.table == Table::File
                      ? m_files.filePath(r.value(Column::Name).toString(), ext)
                      : m_files.picturePath(kind.table, r.value(Column::Id).toLongLong(), ext));
    }
    return paths;
}

Result<qint64> EntryWriter::save(const KindDescriptor& kind, const EntryValues& values,
                                 SaveContext context, qint64 id)
{
    if (const std::optional<QString> failure = EntryValidator::firstFailure(kind, values, context))
        return Error{*failure};

    const QString name = EntryValidator::text(kind.nameField(), values);
    Result<bool> exists =
        m_store.nameExists(kind.table, name, kind.scope(), context.editing ? id : 0);
    if (!exists)
        return exists.error();
    if (exists.value())
        return Error{kind.duplicate};

    Result<QStringList> stale =
        context.editing ? copiesOf(kind, {{Column::Id, id}}) : Result<QStringList>(QStringList());
    if (!stale)
        return stale.error();

    const Row row = rowFrom(kind, values);
    qint64 written = id;
    Result<void> r = m_store.transaction(Tables::store(kind.table), [&]() -> Result<void> {
        if (!context.editing) {
            Result<qint64> inserted = m_store.insert(kind.table, row);
            if (!inserted)
                return inserted.error();
            written = inserted.value();
            return {};
        }
        return m_store.update(kind.table, id, row);
    });
    if (!r) {
        if (DbError::isUniqueViolation(r.error()))
            return Error{kind.duplicate, r.error().code};
        return r.error();
    }
    for (const QString& path : stale.value())
        m_files.forget(path);
    return written;
}

Result<Cascade> EntryWriter::remove(const KindDescriptor& kind, qint64 id)
{
    Where whose{{Column::Id, id}};
    if (kind.kind == ContentKind::FileType)
        whose = {{Column::TypeId, id}};
    const KindDescriptor& copies =
        kind.kind == ContentKind::FileType ? Kinds::descriptor(ContentKind::File) : kind;
    Result<QStringList> stale = copiesOf(copies, whose);
    if (!stale)
        return stale.error();

    Result<Cascade> removed = Cascade{};
    switch (kind.kind) {
    case ContentKind::BigCategory:
        removed = m_store.deleteBigCategory(id);
        break;
    case ContentKind::SmallCategory:
        removed = m_store.deleteSmallCategory(id);
        break;
    case ContentKind::SimpleType:
    case ContentKind::FileType:
    case ContentKind::ToolsType:
    case ContentKind::PersonalType:
        removed = m_store.deleteCategory(kind.table, id);
        break;
    default:
        if (Result<void> r = m_store.remove(kind.table, id); !r)
            return r.error();
        break;
    }
    if (removed)
        for (const QString& path : stale.value())
            m_files.forget(path);
    return removed;
}

Result<std::optional<Row>> EntryWriter::load(const KindDescriptor& kind, qint64 id)
{
    Query q = readQuery(kind);
    q.where.append({Column::Id, id});
    q.ordered = false;
    Result<QList<Row>> rows = m_store.rows(q);
    if (!rows)
        return rows.error();
    if (rows.value().isEmpty())
        return std::optional<Row>();
    return std::optional<Row>(rows.value().first());
}

Result<QList<Row>> EntryWriter::list(const KindDescriptor& kind)
{
    return m_store.rows(readQuery(kind));
}
