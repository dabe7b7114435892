#include "data/SqliteFile.h"

#include <QFile>

namespace {

quint32 bigEndian(const QByteArray& bytes, int offset, int size)
{
    quint32 value = 0;
    for (int i = 0; i < size; ++i)
        value = (value << 8) | static_cast<quint8>(bytes[offset + i]);
    return value;
}

} // namespace

namespace SqliteFile {

State inspect(const QString& path)
{
    QFile file(path);
    if (!file.exists())
        return State::Missing;
    if (!file.open(QIODevice::ReadOnly))
        return State::NotDatabase;
    const qint64 size = file.size();
    if (size == 0)
        return State::Empty;
    const QByteArray header = file.read(100);
    static const QByteArray magic("SQLite format 3\0", 16);
    if (!header.startsWith(magic))
        return State::NotDatabase;
    if (header.size() < 100)
        return State::Truncated;

    quint32 pageSize = bigEndian(header, 16, 2);
    if (pageSize == 1)
        pageSize = 65536;
    if (pageSize < 512 || (pageSize & (pageSize - 1)) != 0)
        return State::NotDatabase;
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
