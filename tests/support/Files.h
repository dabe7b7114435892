#pragma once

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>

// A whole file; one that cannot be read reads as "<missing>", which no test writes.
inline QByteArray readBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

inline bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

inline QByteArray sha256(const QString& path)
{
    return QCryptographicHash::hash(readBytes(path), QCryptographicHash::Sha256);
}

// Every file under `folder`, hidden ones included, relative to it and sorted.
inline QStringList filesUnder(const QString& folder)
{
    QStringList out;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        out << QDir(folder).relativeFilePath(it.next());
    out.sort();
    return out;
}
