#include "data/SearchRows.h"

#include "data/DbError.h"
#include "data/SqlRun.h"
#include "data/Utf8.h"

#include <QSqlDriver>
#include <QSqlQuery>
#include <algorithm>
#include <sqlite3.h>

namespace {

sqlite3* sqliteHandle(const QSqlDatabase& db)
{
    const QVariant handle = db.driver()->handle();
    return qstrcmp(handle.typeName(), "sqlite3*") == 0
               ? *static_cast<sqlite3* const*>(handle.constData())
               : nullptr;
}

// Decodes well-formed UTF-8 into `out`, which has room for `size` units, and returns the units
// written; -1 for anything else, which is then left to SQLite's own conversion so that a name
// reads here as it does everywhere else. SQLite converting to UTF-16 allocated a copy per row.
qsizetype decodeUtf8(const unsigned char* in, int size, QChar* out)
{
    QChar* const start = out;
    const unsigned char* const end = in + size;
    while (in != end) {
        const unsigned char lead = *in;
        if (lead < 0x80) {
            *out++ = QChar(static_cast<char16_t>(lead));
            ++in;
            continue;
        }
        const qsizetype length = Utf8::sequenceLength(in, end - in);
        if (length == 0)
            return -1;
        char32_t c = lead & (0x7F >> length);
        for (qsizetype i = 1; i < length; ++i)
            c = c << 6 | (in[i] & 0x3F);
        if (c > 0xFFFF) {
            *out++ = QChar::highSurrogate(c);
            *out++ = QChar::lowSurrogate(c);
        } else {
            *out++ = QChar(static_cast<char16_t>(c));
        }
        in += length;
    }
    return out - start;
}

Result<void> readSqlite(sqlite3* handle, const QString& sql, const SearchRows::Next& next)
{
    sqlite3_stmt* statement = nullptr;
    auto failure = [&] {
        sqlite3_finalize(statement);
        return DbError::described(sqlite3_extended_errcode(handle),
                                  QString::fromUtf8(sqlite3_errmsg(handle)));
    };
    if (sqlite3_prepare16_v2(handle, sql.utf16(), static_cast<int>(sql.size() * 2), &statement,
                             nullptr) != SQLITE_OK)
        return failure();
    int step = SQLITE_ROW;
    while ((step = sqlite3_step(statement)) == SQLITE_ROW) {
        SearchIndex::Source& src = next();
        src.id = sqlite3_column_int64(statement, 0);
        // Resizing keeps the buffer of the batch's earlier row.
        const auto* utf8 = sqlite3_column_text(statement, 1);
        const int bytes = sqlite3_column_bytes(statement, 1);
        src.name.resize(bytes);
        const qsizetype units = decodeUtf8(utf8, bytes, src.name.data());
        if (units >= 0) {
            src.name.truncate(units);
        } else {
            const auto* name = static_cast<const QChar*>(sqlite3_column_text16(statement, 1));
            src.name.resize(sqlite3_column_bytes16(statement, 1) / 2);
            std::copy_n(name, src.name.size(), src.name.data());
        }
        src.typeId = sqlite3_column_int64(statement, 2);
        src.usetime = sqlite3_column_int(statement, 3);
        src.serial = sqlite3_column_int(statement, 4);
        src.commonSerial = sqlite3_column_int(statement, 5);
        src.common = sqlite3_column_int(statement, 6) == 1;
        src.typeSerial = sqlite3_column_int(statement, 7);
    }
    if (step != SQLITE_DONE)
        return failure();
    sqlite3_finalize(statement);
    return {};
}

} // namespace

namespace SearchRows {

Result<void> read(const QSqlDatabase& db, const QString& sql, const QVariantList& bound,
                  const Next& next)
{
    if (sqlite3* handle = bound.isEmpty() ? sqliteHandle(db) : nullptr)
        return readSqlite(handle, sql, next);
    Result<QSqlQuery> run = SqlRun::run(db, sql, bound);
    if (!run)
        return run.error();
    QSqlQuery& q = run.value();
    while (q.next()) {
        SearchIndex::Source& src = next();
        src.id = q.value(0).toLongLong();
        src.name = q.value(1).toString();
        src.typeId = q.value(2).toLongLong();
        src.usetime = q.value(3).toInt();
        src.serial = q.value(4).toInt();
        src.commonSerial = q.value(5).toInt();
        src.common = q.value(6).toInt() == 1;
        src.typeSerial = q.value(7).toInt();
    }
    return {};
}

} // namespace SearchRows
