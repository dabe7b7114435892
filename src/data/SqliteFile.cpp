#include "data/SqliteFile.h"

#include <QFile>
#include <QFileInfo>

namespace {

quint32 bigEndian(const QByteArray& bytes, int offset, int size)
{
    quint32 value = 0;
    for (int i = 0; i < size; ++i)
        value = (value << 8) | static_cast<quint8>(bytes[offset + i]);
    return value;
}

bool hasContent(const QString& path)
{
    const QFileInfo info(path);
    return info.isFile() && info.size() > 0;
}

} // namespace

namespace SqliteFile {

bool hasJournal(const QString& path)
{
    return hasContent(path + QLatin1String("-journal")) || hasContent(path + QLatin1String("-wal"));
}

State inspect(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return info.isSymLink() ? State::NotAFile : State::Missing;
    if (!info.isFile())
        return State::NotAFile;

    // A writer of another seat may be in the middle of a commit: the journal is there from
    // before the first page is written until after the last, so looking for it on both sides
    // of reading the header and then the size catches every commit that could make them
    // disagree.
    const bool journalBefore = hasJournal(path);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return State::Unreadable;
    const QByteArray header = file.read(100);
    const qint64 size = file.size();
    file.close();
    const bool recovering = journalBefore || hasJournal(path);

    if (size == 0)
        return recovering ? State::Recovering : State::Empty;
    static const QByteArray magic("SQLite format 3\0", 16);
    if (!header.startsWith(magic))
        return State::NotDatabase;
    if (header.size() < 100)
        return recovering ? State::Recovering : State::Truncated;

    quint32 pageSize = bigEndian(header, 16, 2);
    if (pageSize == 1)
        pageSize = 65536;
    if (pageSize < 512 || (pageSize & (pageSize - 1)) != 0)
        return State::NotDatabase;
    if (recovering)
        return State::Recovering;
    if (size % pageSize != 0)
        return State::Truncated;
    // The page count in the header is only trustworthy when the "version valid for" number
    // matches the change counter (writers before 3.7 did not maintain it).
    const quint32 changeCounter = bigEndian(header, 24, 4);
    const quint32 pageCount = bigEndian(header, 28, 4);
    const quint32 validFor = bigEndian(header, 92, 4);
    if (validFor == changeCounter && pageCount > 0 &&
        static_cast<qint64>(pageCount) * pageSize > size)
        return State::Truncated;
    return State::Database;
}

} // namespace SqliteFile
