#include "content/ContentFiles.h"

#include "data/AtomicFile.h"
#include "data/Columns.h"
#include "data/Store.h"
#include "send/ContentCache.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

ContentFiles::ContentFiles(QString rootFolder) : m_root(std::move(rootFolder)) {}

QString ContentFiles::folderName(Table table)
{
    switch (table) {
    case Table::Personal:
        return u"ppic"_s;
    case Table::File:
        return u"file"_s;
    default:
        return u"pic"_s;
    }
}

QString ContentFiles::shownFolder(Table table) const
{
    return QDir::toNativeSeparators(QDir(m_root).filePath(folderName(table)) + u'/');
}

QString ContentFiles::picturePath(Table table, qint64 id, const QString& extname) const
{
    const QString ext = extname.trimmed();
    const QString name = ext.isEmpty()
                             ? QString::number(id)
                             : ContentCache::safeFileName(QString::number(id) + u'.' + ext);
    return QDir(QDir(m_root).filePath(folderName(table))).filePath(name);
}

QString ContentFiles::filePath(const QString& name, const QString& extname) const
{
    QString ext = extname.trimmed();
    // Rows written without a file extension carry "无".
    if (ext == u"无"_s)
        ext.clear();
    const QString fileName = ContentCache::safeFileName(ext.isEmpty() ? name : name + u'.' + ext);
    return QDir(QDir(m_root).filePath(folderName(Table::File))).filePath(fileName);
}

Result<void> ContentFiles::write(const QString& path, const QByteArray& bytes) const
{
    const QString dir = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(dir))
        return Error{u"无法创建文件夹 "_s + QDir::toNativeSeparators(dir)};
    const QString root = QFileInfo(m_root).absoluteFilePath() + u'/';
    if (!QFileInfo(path).absoluteFilePath().startsWith(root))
        return Error{u"文件名无效："_s + QFileInfo(path).fileName()};
    return AtomicFile::write(path, bytes);
}

void ContentFiles::forget(const QString& path) const
{
    QFile::remove(path);
}

Result<int> ContentFiles::exportAll(Store& store, const KindDescriptor& kind) const
{
    Query q;
    q.table = kind.table;
    q.columns = {Column::Id, Column::Name, Column::ExtName};
    q.blobPresence = true;
    Result<QList<Row>> rows = store.rows(q);
    if (!rows)
        return rows.error();
    int written = 0;
    for (const Row& row : rows.value()) {
        if (!row.value(Column::HasBlob).toBool())
            continue;
        const qint64 id = row.value(Column::Id).toLongLong();
        Result<std::optional<QByteArray>> bytes = store.blob(kind.table, id);
        if (!bytes)
            return bytes.error();
        if (!bytes.value())
            continue;
        const QString extname = row.value(Column::ExtName).toString();
        const QString path = kind.table == Table::File
                                 ? filePath(row.value(Column::Name).toString(), extname)
                                 : picturePath(kind.table, id, extname);
        if (Result<void> w = write(path, *bytes.value()); !w)
            return w.error();
        ++written;
    }
    return written;
}

QString ContentFiles::exportReport(const KindDescriptor& kind, int written) const
{
    if (written == 0)
        return kind.exporting.none;
    return kind.exporting.done.arg(written) + u"\r\n"_s + kind.exporting.noteOpen +
           shownFolder(kind.table) + u')';
}
