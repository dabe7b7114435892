#pragma once

#include "data/Result.h"

#include <QString>
#include <QStringList>

// The program folder: config.ini, the personal store (and, unless DatabasePath says otherwise,
// the assistant store), pylib.dll and the pic/, ppic/, file/, backup/, pbackup/ folders.
class DataRoot {
public:
    // Where the root may come from, strongest first.
    struct Candidates {
        QString commandLine;        // --data-dir
        QString environment;        // QUILLMATE_HOME
        QString executableFolder;   // used when `portable` is true
        bool portable = false;      // a file "portable" beside the executable (or, on Windows,
                                    // a writable program folder)
        QString userFolder;         // the per-user data folder
        QStringList shippedFolders; // where read-only shipped files (pylib.dll, sound.wav) are
    };

    static DataRoot resolve(const Candidates& candidates);
    explicit DataRoot(QString folder, QStringList shippedFolders = {});

    QString folder() const { return m_folder; }
    QString filePath(const QString& name) const;
    QString configPath() const { return filePath(QStringLiteral("config.ini")); }

    // Creates the folder when it is missing.
    Result<void> ensureExists() const;

    // Copies a shipped file into the root when the root does not hold it yet. A file already
    // in the root is left alone, so a user's own table survives updates.
    Result<void> installShipped(const QString& name) const;
    QString shippedPath(const QString& name) const;

private:
    QString m_folder;
    QStringList m_shipped;
};
