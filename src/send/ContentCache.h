#pragma once

#include "data/Result.h"

#include <QByteArray>
#include <QString>
#include <functional>
#include <optional>

// Copies of stored pictures and files on disk, which is what the clipboard hands to chat
// clients: cache/pic/, cache/ppic/ and cache/file/ in the program folder, one folder per entry
// and content, "<id>-<hash>", holding the copy under the name the customer sees. A copy is
// reused only while the entry's bytes and name are those it was written from, so two entries
// never share a copy and an entry edited anywhere is never sent as it was. Writing a new copy
// removes the entry's older ones.
class ContentCache {
public:
    using Loader = std::function<Result<std::optional<QByteArray>>()>;

    explicit ContentCache(QString rootFolder);

    // cache/pic/<id>-<hash>/<id>.<ext> (ppic/ for private entries). Nothing when no picture is
    // stored.
    Result<std::optional<QString>> picture(bool personal, qint64 id, const QString& extname,
                                           const Loader& load) const;
    // cache/file/<id>-<hash>/<name>.<ext>; an extension "无" counts as none.
    Result<std::optional<QString>> file(qint64 id, const QString& name, const QString& extname,
                                        const Loader& load) const;

    // A stored name made safe as one file name on Linux and Windows: it cannot leave its
    // folder, name a device (CON, nul.txt, com1.log) or exceed 255 bytes in UTF-8 (a longer
    // name is cut at a character boundary, its extension kept).
    static QString safeFileName(const QString& name);

    // The longest file name the file systems in use take, in UTF-8 bytes.
    static constexpr qsizetype MaxNameBytes = 255;

private:
    Result<std::optional<QString>> place(const QString& folder, qint64 id, const QString& fileName,
                                         const Loader& load) const;

    QString m_root;
};
