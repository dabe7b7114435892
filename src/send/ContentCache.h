#pragma once

#include "data/Result.h"

#include <QByteArray>
#include <QString>
#include <functional>
#include <optional>

// Copies of stored pictures and files on disk (pic/, ppic/, file/ in the program folder), which
// is what the clipboard hands to chat clients. A copy that exists is reused as it stands.
class ContentCache {
public:
    using Loader = std::function<Result<std::optional<QByteArray>>()>;

    explicit ContentCache(QString rootFolder);

    // pic/<id>.<ext> (or ppic/ for private entries). Nothing when no picture is stored.
    Result<std::optional<QString>> picture(bool personal, qint64 id, const QString& extname,
                                           const Loader& load) const;
    // file/<name>.<ext>; an extension "无" counts as none.
    Result<std::optional<QString>> file(const QString& name, const QString& extname,
                                        const Loader& load) const;

    // A stored name made safe as one file name: it cannot leave its folder.
    static QString safeFileName(const QString& name);

private:
    Result<std::optional<QString>> place(const QString& folder, const QString& fileName,
                                         const Loader& load) const;

    QString m_root;
};
