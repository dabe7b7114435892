#include "send/ContentCache.h"

#include "data/AtomicFile.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>

namespace {

// Extensions longer than this are not kept whole when a name is cut: no real one is that long.
constexpr qsizetype MaxExtensionBytes = 32;

bool isReserved(QChar c)
{
    return c == u'/' || c == u'\\' || c == u':' || c == u'*' || c == u'?' || c == u'"' ||
           c == u'<' || c == u'>' || c == u'|' || c.unicode() < 0x20;
}

// Windows drops trailing dots and blanks, which could make two names meet.
QString tidyEnds(QString name)
{
    name = name.trimmed();
    while (name.endsWith(u'.') || name.endsWith(u' ')) {
        name.chop(1);
        name = name.trimmed();
    }
    return name;
}

// Windows opens a device instead of a file for these, whatever the letter case or extension.
bool isDeviceName(const QString& name)
{
    QStringView base(name);
    if (const qsizetype dot = base.indexOf(u'.'); dot >= 0)
        base = base.first(dot);
    while (base.endsWith(u' '))
        base.chop(1);
    for (const char* device : {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"}) {
        if (base.compare(QLatin1String(device), Qt::CaseInsensitive) == 0)
            return true;
    }
    if (base.size() != 4 || !(base.startsWith(QLatin1String("COM"), Qt::CaseInsensitive) ||
                              base.startsWith(QLatin1String("LPT"), Qt::CaseInsensitive)))
        return false;
    const QChar n = base.at(3);
    return (n >= u'0' && n <= u'9') || n == u'¹' || n == u'²' || n == u'³';
}

qsizetype utf8Bytes(QStringView text)
{
    return text.toUtf8().size();
}

// The longest start of `text` that takes at most `maxBytes` in UTF-8, ending between characters.
QString cutToBytes(QStringView text, qsizetype maxBytes)
{
    qsizetype bytes = 0;
    qsizetype i = 0;
    while (i < text.size()) {
        const bool pair =
            text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        const qsizetype units = pair ? 2 : 1;
        const qsizetype size = utf8Bytes(text.sliced(i, units));
        if (bytes + size > maxBytes)
            break;
        bytes += size;
        i += units;
    }
    return text.first(i).toString();
}

// At most MaxNameBytes; a cut shortens the part before the extension.
QString fitted(const QString& name)
{
    if (utf8Bytes(name) <= ContentCache::MaxNameBytes)
        return name;
    const qsizetype dot = name.lastIndexOf(u'.');
    QString extension = dot > 0 ? name.sliced(dot) : QString();
    if (utf8Bytes(extension) > MaxExtensionBytes)
        extension.clear();
    const QStringView stem = QStringView(name).first(name.size() - extension.size());
    return tidyEnds(cutToBytes(stem, ContentCache::MaxNameBytes - utf8Bytes(extension)) +
                    extension);
}

// Identifies the copy's bytes and name, so that any change to either gives another folder. It runs
// on every send: BLAKE2b is the quickest sound hash Qt has (a 20 MB file in about 30 ms).
QString contentKey(const QString& fileName, const QByteArray& bytes)
{
    QCryptographicHash hash(QCryptographicHash::Blake2b_256);
    hash.addData(fileName.toUtf8());
    hash.addData(QByteArrayView("\0", 1));
    hash.addData(bytes);
    return QString::fromLatin1(hash.result().toHex().left(16));
}

// Best effort: a copy a chat client still holds open stays until the next new copy.
void removeOlderCopies(const QDir& kindFolder, qint64 id, const QString& current)
{
    const QStringList folders =
        kindFolder.entryList({QString::number(id) + QStringLiteral("-*")},
                             QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden);
    for (const QString& folder : folders) {
        if (folder != current)
            QDir(kindFolder.filePath(folder)).removeRecursively();
    }
}

} // namespace

ContentCache::ContentCache(QString rootFolder) : m_root(std::move(rootFolder)) {}

QString ContentCache::safeFileName(const QString& name)
{
    QString out;
    out.reserve(name.size());
    for (const QChar c : name)
        out += isReserved(c) ? QChar(u'_') : c;
    out = fitted(tidyEnds(out));
    // The mark goes in front: the name still sorts and reads as itself.
    if (isDeviceName(out))
        out = fitted(u'_' + out);
    if (out.isEmpty())
        out = QStringLiteral("_");
    return out;
}

Result<std::optional<QString>>
ContentCache::picture(bool personal, qint64 id, const QString& extname, const Loader& load) const
{
    const QString ext = extname.trimmed();
    const QString name =
        ext.isEmpty() ? QString::number(id) : safeFileName(QString::number(id) + u'.' + ext);
    return place(personal ? QStringLiteral("ppic") : QStringLiteral("pic"), id, name, load);
}

Result<std::optional<QString>> ContentCache::file(qint64 id, const QString& name,
                                                  const QString& extname, const Loader& load) const
{
    QString ext = extname.trimmed();
    if (ext == QStringLiteral("无"))
        ext.clear();
    const QString fileName = ext.isEmpty() ? safeFileName(name) : safeFileName(name + u'.' + ext);
    return place(QStringLiteral("file"), id, fileName, load);
}

Result<std::optional<QString>> ContentCache::place(const QString& folder, qint64 id,
                                                   const QString& fileName,
                                                   const Loader& load) const
{
    Result<std::optional<QByteArray>> loaded = load();
    if (!loaded)
        return loaded.error();
    if (!loaded.value())
        return std::optional<QString>();
    const QByteArray& bytes = *loaded.value();

    const QDir kindFolder(QDir(m_root).filePath(QStringLiteral("cache/") + folder));
    const QString entry = QString::number(id) + u'-' + contentKey(fileName, bytes);
    const QString dir = kindFolder.filePath(entry);
    const QString path = QDir(dir).filePath(fileName);
    if (!QFileInfo(path).absoluteFilePath().startsWith(QFileInfo(dir).absoluteFilePath() + u'/'))
        return Error{QStringLiteral("文件名无效：") + fileName};
    // A copy whose length changed on disk since (cut short by hand or by another program) is
    // written again.
    const QFileInfo existing(path);
    if (existing.isFile() && existing.size() == bytes.size())
        return std::optional<QString>(path);

    if (!QDir().mkpath(dir))
        return Error{QStringLiteral("无法创建文件夹 ") + QDir::toNativeSeparators(dir)};
    if (Result<void> written = AtomicFile::write(path, bytes); !written)
        return written.error();
    removeOlderCopies(kindFolder, id, entry);
    return std::optional<QString>(path);
}
