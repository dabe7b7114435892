#pragma once

#include "content/KindDescriptor.h"
#include "data/Result.h"

#include <QByteArray>
#include <QString>

class Store;

// The copies of stored pictures and files that users open and export, in the program folder:
// pic/<id>.<ext> for knowledge, ppic/<id>.<ext> for private knowledge, file/<name>.<ext> for
// stored files. Names from the store are made safe as the send cache makes them (they cannot
// leave their folder, name a device or run too long); what is sent comes from the cache's own
// folder, never from here. A copy is written whole or not at all.
class ContentFiles {
public:
    explicit ContentFiles(QString rootFolder);

    QString rootFolder() const { return m_root; }

    // "pic", "ppic" or "file".
    static QString folderName(Table table);
    // The folder as users are told it: the program folder + "\pic\", with native separators.
    QString shownFolder(Table table) const;

    QString picturePath(Table table, qint64 id, const QString& extname) const;
    QString filePath(const QString& name, const QString& extname) const;

    // Writes `bytes` over whatever copy the path holds; on failure the old copy stays as it was.
    Result<void> write(const QString& path, const QByteArray& bytes) const;
    // Removes a copy that no longer matches the store, so the next use writes it afresh.
    void forget(const QString& path) const;

    // Writes every stored picture of the kind (or every stored file) anew and returns how many
    // were written. Stored names that meet on disk overwrite each other, the later row winning.
    Result<int> exportAll(Store& store, const KindDescriptor& kind) const;

    // What an export tells the user.
    QString exportReport(const KindDescriptor& kind, int written) const;

private:
    QString m_root;
};
