#include "exchange/WorkbookExporter.h"

#include "data/Columns.h"
#include "data/DbError.h"
#include "data/ReplaceFile.h"
#include "data/Store.h"
#include "data/ToolKind.h"
#include "data/TreeSection.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSqlError>
#include <QSqlQuery>
#include <xlsxwriter.h>

using namespace Qt::StringLiterals;

namespace {

// What each sheet's columns are read from, in the layout's order, and which rows. Entries come
// in the order they were created, so a round trip keeps it.
struct Source {
    QString from;
    QStringList columns;
    QString where;
};

Source sourceOf(SheetKind kind)
{
    const QString typeName = Column::TypeName;
    switch (kind) {
    case SheetKind::Knowledge:
        return {u"v_knowledge"_s,
                {Column::Name, Column::Description, Column::GoodsName, Column::TypeName},
                {}};
    case SheetKind::Affairs:
        // An address that is switched off is not part of what the affair shows.
        return {u"type"_s,
                {Column::Name, Column::Description,
                 u"CASE WHEN %1 = 1 THEN %2 ELSE '' END"_s.arg(Column::Flag, Column::Url)},
                u"%1 = %2"_s.arg(Column::ItemId).arg(sectionId(TreeSection::Affairs))};
    case SheetKind::Couriers:
        return {u"type"_s,
                {Column::Name, Column::Url},
                u"%1 = %2"_s.arg(Column::ItemId).arg(sectionId(TreeSection::Couriers))};
    case SheetKind::Phrases:
        return {u"v_simple"_s, {Column::Name, typeName}, {}};
    case SheetKind::Tools:
        return {u"v_tools"_s,
                {Column::Name, Column::Path, Column::ToolDesc, typeName, Column::Type},
                {}};
    case SheetKind::Private:
        return {u"v_personal"_s, {Column::Name, Column::Description, typeName}, {}};
    }
    return {};
}

QString sql(const Source& source, const QString& what)
{
    QString text = u"SELECT %1 FROM %2"_s.arg(what, source.from);
    if (!source.where.isEmpty())
        text += u" WHERE "_s + source.where;
    return text;
}

QString writeError(const QString& target, lxw_error error)
{
    return u"无法写入文件 %1：%2"_s.arg(QDir::toNativeSeparators(target),
                                        QString::fromUtf8(lxw_strerror(error)));
}

} // namespace

QString ExportReport::message() const
{
    QStringList parts;
    for (SheetKind kind : SheetLayouts::kinds(scope))
        parts << SheetLayouts::of(kind).sheetName + u"："_s + QString::number(of(kind)) + u"条"_s;
    return u"成功导出"_s + parts.join(u',') + u"!"_s;
}

Result<ExportReport> WorkbookExporter::run(const QString& target, const Progress& progress)
{
    ExportReport report;
    report.scope = m_scope;
    const QList<SheetKind> kinds = SheetLayouts::kinds(m_scope);

    qint64 total = 0;
    for (SheetKind kind : kinds) {
        const Table table = SheetLayouts::of(kind).table;
        QSqlQuery q(m_store.database(Tables::store(table)));
        if (!q.exec(sql(sourceOf(kind), u"count(*)"_s)) || !q.next())
            return DbError::fromQuery(q.lastError());
        total += q.value(0).toLongLong();
    }

    const QFileInfo info(target);
    if (!info.absoluteDir().exists())
        return Error{u"无法写入文件 %1：文件夹不存在。"_s.arg(QDir::toNativeSeparators(target))};
    const QString temp =
        u"%1/.%2.%3.tmp"_s.arg(info.absolutePath(), info.fileName(),
                               QString::number(QRandomGenerator::global()->generate64(), 36));
    const QByteArray tempName = QFile::encodeName(temp);
    lxw_workbook_options options{};
    options.constant_memory = LXW_TRUE; // each row goes to disk as soon as the next one starts
    options.use_zip64 = LXW_TRUE;
    lxw_workbook* book = workbook_new_opt(tempName.constData(), &options);
    if (!book)
        return Error{u"无法写入文件 %1。"_s.arg(QDir::toNativeSeparators(target))};
    lxw_format* heading = workbook_add_format(book);
    format_set_bold(heading);

    Result<void> outcome;
    qint64 done = 0;
    for (SheetKind kind : kinds) {
        const SheetLayout& layout = SheetLayouts::of(kind);
        lxw_worksheet* sheet = workbook_add_worksheet(book, layout.sheetName.toUtf8().constData());
        for (qsizetype c = 0; c < layout.columns.size(); ++c) {
            const auto column = static_cast<lxw_col_t>(c);
            worksheet_set_column(sheet, column, column, c == 1 ? 60 : 20, nullptr);
            worksheet_write_string(sheet, 0, column, layout.columns[c].heading.toUtf8().constData(),
                                   heading);
        }
        const Source source = sourceOf(kind);
        QSqlQuery q(m_store.database(Tables::store(layout.table)));
        q.setForwardOnly(true);
        if (!q.exec(sql(source, source.columns.join(u", "_s)) + u" ORDER BY id"_s)) {
            outcome = DbError::fromQuery(q.lastError());
            break;
        }
        lxw_row_t row = 0;
        while (outcome && q.next()) {
            ++row;
            for (int c = 0; c < source.columns.size(); ++c) {
                QString text = q.value(c).toString();
                if (kind == SheetKind::Tools && source.columns[c] == Column::Type)
                    text = ToolKind::names().value(q.value(c).toInt(), text);
                if (text.isEmpty())
                    continue;
                const lxw_error e = worksheet_write_string(sheet, row, static_cast<lxw_col_t>(c),
                                                           text.toUtf8().constData(), nullptr);
                if (e != LXW_NO_ERROR) {
                    outcome = Error{layout.rowLabel + QString::number(row + 1) + u"行："_s +
                                    QString::fromUtf8(lxw_strerror(e))};
                    break;
                }
            }
            ++report.rows[static_cast<size_t>(kind)];
            if (progress && !progress(++done, total)) {
                report.cancelled = true;
                break;
            }
        }
        if (!outcome || report.cancelled)
            break;
    }

    const lxw_error closed = workbook_close(book);
    if (outcome && !report.cancelled && closed != LXW_NO_ERROR)
        outcome = Error{writeError(target, closed)};
    if (outcome && !report.cancelled)
        outcome = replaceFile(temp, target);
    if (!outcome || report.cancelled)
        QFile::remove(temp);
    if (!outcome)
        return outcome.error();
    return report;
}
