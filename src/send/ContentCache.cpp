#include "send/ContentCache.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

ContentCache::ContentCache(QString rootFolder) : m_root(std::move(rootFolder)) {}

QString ContentCache::safeFileName(const QString& name)
{
    QString out;
    out.reserve(name.size());
    for (const QChar c : name) {
        const bool reserved = c == u'/' || c == u'\\' || c == u':' || c == u'*' || c == u'?' ||
                              c == u'"' || c == u'<' || c == u'>' || c == u'|';
        out += (reserved || c.unicode() < 0x20) ? QChar(u'_') : c;
    }
    // Windows drops trailing dots and blanks, which could make two names meet.
    while (out.endsWith(u'.') || out.endsWith(u' '))
        out.chop(1);
    out = out.trimmed();
    if (out.isEmpty() || out == QLatin1String("..") || out == QLatin1String("."))
        out = QStringLiteral("_");
    return out;
}

Result<std::optional<QString>>
ContentCache::picture(bool personal, qint64 id, const QString& extname, const Loader& load) const
{
    const QString ext = safeFileName(extname.trimmed());
    const QString name =
        extname.trimmed().isEmpty() ? QString::number(id) : QString::number(id) + u'.' + ext;
    return place(personal ? QStringLiteral("ppic") : QStringLiteral("pic"), name, load);
}

Result<std::optional<QString>> ContentCache::file(const QString& name, const QString& extname,
                                                  const Loader& load) const
{
    QString ext = extname.trimmed();
    if (ext == QStringLiteral("无"))
        ext.clear();
    const QString fileName = ext.isEmpty() ? safeFileName(name) : safeFileName(name + u'.' + ext);
    return place(QStringLiteral("file"), fileName, load);
}

Result<std::optional<QString>> ContentCache::place(const QString& folder, const QString& fileName,
                                                   const Loader& load) const
{
    const QString dir = QDir(m_root).filePath(folder);
    if (!QDir().mkpath(dir))
        return Error{QStringLiteral("无法创建文件夹 ") + QDir::toNativeSeparators(dir)};
    const QString path = QDir(dir).filePath(fileName);
    if (!QFileInfo(path).absoluteFilePath().startsWith(QFileInfo(dir).absoluteFilePath() + u'/'))
        return Error{QStringLiteral("文件名无效：") + fileName};
    if (QFileInfo(path).isFile())
        return std::optional<QString>(path);

    Result<std::optional<QByteArray>> bytes = load();
    if (!bytes)
        return bytes.error();
    if (!bytes.value())
        return std::optional<QString>();
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(*bytes.value()) != bytes.value()->size() ||
        !out.commit())
        return Error{QStringLiteral("无法写入文件 ") + QDir::toNativeSeparators(path)};
    return std::optional<QString>(path);
}
