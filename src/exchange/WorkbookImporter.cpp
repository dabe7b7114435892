#include "exchange/WorkbookImporter.h"

#include "data/Columns.h"
#include "data/DbError.h"
#include "data/Store.h"
#include "data/ToolKind.h"
#include "data/TreeSection.h"
#include "exchange/WorkbookReader.h"

#include <QSet>
#include <QSqlError>
#include <QSqlQuery>

using namespace Qt::StringLiterals;

namespace {

// The stores compare names with SQLite's NOCASE: only ASCII letters fold.
QString folded(const QString& name)
{
    QString out = name;
    for (QChar& c : out) {
        if (c >= u'A' && c <= u'Z')
            c = QChar(c.unicode() + (u'a' - u'A'));
    }
    return out;
}

QString key(Table table, int itemId, const QString& name)
{
    return u"%1/%2/"_s.arg(static_cast<int>(table)).arg(itemId) + folded(name);
}

// The item a row of table `type` belongs to; 0 for every other table.
int itemOf(SheetKind kind)
{
    switch (kind) {
    case SheetKind::Affairs:
        return sectionId(TreeSection::Affairs);
    case SheetKind::Couriers:
        return sectionId(TreeSection::Couriers);
    default:
        return 0;
    }
}

// A tool kind cell: a kind's name or number, or empty for the first kind.
int toolKind(const QString& cell)
{
    if (cell.isEmpty())
        return 0;
    const QStringList names = ToolKind::names();
    const qsizetype named = names.indexOf(cell);
    if (named >= 0)
        return static_cast<int>(named);
    bool ok = false;
    const int number = cell.toInt(&ok);
    return ok && number >= 0 && number < names.size() ? number : -1;
}

constexpr int ToolKindColumn = 4;

} // namespace

int ImportReport::added() const
{
    int n = 0;
    for (const Kind& k : kinds)
        n += k.added;
    return n;
}

QString ImportReport::countsMessage() const
{
    auto n = [this](SheetKind kind) { return QString::number(of(kind).added); };
    QString text;
    if (scope == ExchangeScope::Private) {
        text = u"成功导入工具："_s + n(SheetKind::Tools) + u"条,私人知识库："_s +
               n(SheetKind::Private) + u"条!"_s;
    } else {
        text = u"成功导入知识库："_s + n(SheetKind::Knowledge) + u"条,公司事务："_s +
               n(SheetKind::Affairs) + u"条,快递："_s + n(SheetKind::Couriers) + u"条!"_s +
               u"\r\n简洁："_s + n(SheetKind::Phrases) + u"条"_s + u"\r\n工具："_s +
               n(SheetKind::Tools) + u"条"_s + u"\r\n私人知识库："_s + n(SheetKind::Private) +
               u"条"_s;
    }
    int skipped = 0;
    for (const Kind& k : kinds)
        skipped += k.skipped;
    if (skipped > 0)
        text += u"\r\n名称已存在而未导入："_s + QString::number(skipped) + u"条"_s;
    return text;
}

QString ImportReport::previewText() const
{
    QStringList lines;
    for (SheetKind kind : SheetLayouts::kinds(scope)) {
        const Kind& k = of(kind);
        const QString name = SheetLayouts::of(kind).sheetName;
        if (k.sheet < 0)
            lines << name + u"：工作簿中没有此工作表"_s;
        else
            lines << u"%1：新增%2条，名称已存在%3条，新建分类%4个"_s.arg(name)
                         .arg(k.added)
                         .arg(k.skipped)
                         .arg(k.categories);
    }
    return lines.join(u"\r\n"_s);
}

QString ImportReport::problemsText() const
{
    return problems.join(u"\r\n"_s);
}

QList<int> WorkbookImporter::sheetsOf(const WorkbookReader& book, ExchangeScope scope)
{
    const QStringList names = book.sheetNames();
    QList<int> sheets;
    bool anyNamed = false;
    for (SheetKind kind : SheetLayouts::kinds(scope)) {
        const int at = static_cast<int>(names.indexOf(SheetLayouts::of(kind).sheetName));
        sheets << at;
        anyNamed = anyNamed || at >= 0;
    }
    if (!anyNamed) {
        for (int i = 0; i < sheets.size(); ++i)
            sheets[i] = i < names.size() ? i : -1;
    }
    return sheets;
}

Result<ImportReport> WorkbookImporter::preview(WorkbookReader& book, const Progress& progress)
{
    ImportReport report;
    report.scope = m_scope;
    if (Result<void> r = loadNames(); !r)
        return r.error();
    qint64 total = 0;
    for (int sheet : sheetsOf(book, m_scope))
        total += sheet >= 0 ? book.rowCount(sheet) : 0;
    if (Result<void> r = walk(book, Pass::Check, report, progress, 0, total); !r)
        return r.error();
    return report;
}

Result<ImportReport> WorkbookImporter::run(WorkbookReader& book, const Progress& progress)
{
    ImportReport report;
    report.scope = m_scope;
    qint64 total = 0;
    for (int sheet : sheetsOf(book, m_scope))
        total += sheet >= 0 ? book.rowCount(sheet) : 0;
    if (Result<void> r = loadNames(); !r)
        return r.error();
    if (Result<void> r = walk(book, Pass::Check, report, progress, 0, 2 * total); !r)
        return r.error();
    if (!report.problems.isEmpty() || report.cancelled)
        return report;

    const ImportReport checked = report;
    auto write = [&]() -> Result<void> {
        // Read again inside the transaction: another seat may have added names meanwhile.
        report = ImportReport{};
        report.scope = m_scope;
        if (Result<void> r = loadNames(); !r)
            return r;
        if (Result<void> r = walk(book, Pass::Write, report, progress, total, 2 * total); !r)
            return r;
        if (report.cancelled)
            return Error{u"导入已取消。"_s};
        return {};
    };
    Result<void> written = m_scope == ExchangeScope::Private
                               ? m_store.transaction(StoreId::Personal, write)
                               : m_store.transaction(StoreId::Assistant, [&] {
                                     return m_store.transaction(StoreId::Personal, write);
                                 });
    if (report.cancelled) {
        ImportReport nothing = checked;
        nothing.cancelled = true;
        for (ImportReport::Kind& k : nothing.kinds)
            k.added = k.skipped = k.categories = 0;
        return nothing;
    }
    if (!written)
        return written.error();
    return report;
}

Result<void> WorkbookImporter::walk(WorkbookReader& book, Pass pass, ImportReport& report,
                                    const Progress& progress, qint64 offset, qint64 total)
{
    const QList<SheetKind> kinds = SheetLayouts::kinds(m_scope);
    const QList<int> sheets = sheetsOf(book, m_scope);
    qint64 done = offset;
    for (int i = 0; i < kinds.size(); ++i) {
        const SheetKind kind = kinds[i];
        ImportReport::Kind& counts = report.of(kind);
        counts.sheet = sheets[i];
        if (counts.sheet < 0)
            continue;
        const int columns = static_cast<int>(SheetLayouts::of(kind).columns.size());
        Result<void> failed;
        Result<void> read = book.readRows(counts.sheet, columns, [&](const auto& row) {
            if (progress && !progress(++done, total)) {
                report.cancelled = true;
                return false;
            }
            QStringList values;
            for (const QString& cell : row.cells)
                values << cell.trimmed();
            const qsizetype before = report.problems.size();
            if (pass == Pass::Check)
                check(kind, row, values, report.problems);
            // Rows that failed a check are not planned: their names may be anything.
            if (report.problems.size() == before)
                failed = place(kind, values, counts, pass);
            return failed.ok();
        });
        if (!read)
            return read;
        if (!failed)
            return failed;
        if (report.cancelled)
            return {};
    }
    return {};
}

void WorkbookImporter::check(SheetKind kind, const WorkbookReader::Row& row,
                             const QStringList& values, QStringList& problems) const
{
    const SheetLayout& layout = SheetLayouts::of(kind);
    const QString at = layout.rowLabel + QString::number(row.number) + u"行,"_s;
    for (qsizetype c = 0; c < layout.columns.size(); ++c) {
        const SheetColumn& column = layout.columns[c];
        if (column.required && values[c].isEmpty())
            problems << at + column.emptyMessage;
        else if (column.limit > 0 && values[c].size() > column.limit)
            problems << at + column.longMessage;
    }
    if (kind == SheetKind::Tools && toolKind(values[ToolKindColumn]) < 0)
        problems << at + u"工具类型只能是"_s + ToolKind::names().mid(0, 2).join(u'、') + u"或"_s +
                        ToolKind::names().last() + u"!"_s;
}

Result<void> WorkbookImporter::loadNames()
{
    m_names.clear();
    m_bigOfSmall.clear();
    QList<Table> tables;
    for (SheetKind kind : SheetLayouts::kinds(m_scope))
        tables << SheetLayouts::of(kind).table << SheetLayouts::of(kind).categoryTable;
    if (m_scope == ExchangeScope::Everything)
        tables << Table::Type; // the big categories
    QSet<Table> seen;
    for (Table table : std::as_const(tables)) {
        if (seen.contains(table))
            continue;
        seen.insert(table);
        const QString extra = table == Table::Type    ? QString(Column::ItemId)
                              : table == Table::Goods ? QString(Column::TypeId)
                                                      : u"0"_s;
        QSqlQuery q(m_store.database(Tables::store(table)));
        q.setForwardOnly(true);
        if (!q.exec(u"SELECT %1, %2, %3 FROM %4"_s.arg(Column::Id, Column::Name, extra,
                                                       Tables::sqlName(table))))
            return DbError::fromQuery(q.lastError());
        while (q.next()) {
            const qint64 id = q.value(0).toLongLong();
            const int item = table == Table::Type ? q.value(2).toInt() : 0;
            m_names.insert(key(table, item, q.value(1).toString()), id);
            if (table == Table::Goods)
                m_bigOfSmall.insert(id, q.value(2).toLongLong());
        }
    }
    return {};
}

bool WorkbookImporter::taken(Table table, int itemId, const QString& name) const
{
    return m_names.contains(key(table, itemId, name));
}

Result<qint64> WorkbookImporter::add(Table table, int itemId, const QString& name,
                                     QVariantMap values, Pass pass)
{
    values.insert(Column::Name, name);
    if (table == Table::Type)
        values.insert(Column::ItemId, itemId);
    qint64 id = --m_plannedId;
    if (pass == Pass::Write) {
        Result<qint64> inserted = m_store.insert(table, values);
        if (!inserted)
            return inserted.error();
        id = inserted.value();
    }
    m_names.insert(key(table, itemId, name), id);
    return id;
}

Result<qint64> WorkbookImporter::category(Table table, int itemId, const QString& name,
                                          qint64 parent, ImportReport::Kind& counts, Pass pass)
{
    if (const auto found = m_names.constFind(key(table, itemId, name)); found != m_names.cend())
        return found.value();
    ++counts.categories;
    QVariantMap values;
    if (table == Table::Goods)
        values.insert(Column::TypeId, parent);
    Result<qint64> id = add(table, itemId, name, values, pass);
    if (id && table == Table::Goods)
        m_bigOfSmall.insert(id.value(), parent);
    return id;
}

Result<void> WorkbookImporter::place(SheetKind kind, const QStringList& v,
                                     ImportReport::Kind& counts, Pass pass)
{
    const SheetLayout& layout = SheetLayouts::of(kind);
    const int item = itemOf(kind);
    if (taken(layout.table, item, v[0])) {
        ++counts.skipped;
        return {};
    }
    QVariantMap values;
    switch (kind) {
    case SheetKind::Knowledge: {
        // A small category is found by name wherever it lies; the entry then joins its big
        // category, so the tree stays consistent.
        qint64 small = m_names.value(key(Table::Goods, 0, v[2]));
        if (small == 0) {
            const int product = sectionId(TreeSection::Product);
            Result<qint64> big = category(Table::Type, product, v[3], 0, counts, pass);
            if (!big)
                return big.error();
            Result<qint64> created = category(Table::Goods, 0, v[2], big.value(), counts, pass);
            if (!created)
                return created.error();
            small = created.value();
        }
        values = {{Column::Description, v[1]},
                  {Column::GoodsId, small},
                  {Column::TypeId, m_bigOfSmall.value(small)}};
        break;
    }
    case SheetKind::Affairs:
        values = {{Column::Description, v[1]},
                  {Column::Url, v[2]},
                  {Column::Flag, v[2].isEmpty() ? 0 : 1}};
        break;
    case SheetKind::Couriers:
        values = {{Column::Url, v[1]}, {Column::Flag, 1}};
        break;
    case SheetKind::Phrases:
    case SheetKind::Private: {
        Result<qint64> type = category(layout.categoryTable, 0,
                                       v[kind == SheetKind::Phrases ? 1 : 2], 0, counts, pass);
        if (!type)
            return type.error();
        values = {{Column::TypeId, type.value()}};
        if (kind == SheetKind::Private)
            values.insert(Column::Description, v[1]);
        break;
    }
    case SheetKind::Tools: {
        Result<qint64> type = category(Table::ToolsType, 0, v[3], 0, counts, pass);
        if (!type)
            return type.error();
        values = {{Column::TypeId, type.value()},
                  {Column::Path, v[1]},
                  {Column::ToolDesc, v[2]},
                  {Column::Type, toolKind(v[ToolKindColumn])}};
        break;
    }
    }
    Result<qint64> id = add(layout.table, item, v[0], values, pass);
    if (!id)
        return id.error();
    ++counts.added;
    return {};
}
