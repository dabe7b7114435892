#pragma once

#include <QString>

class QWidget;

// Asks where a backup goes and which backup to restore. The commands hold a picker instead of
// calling the system dialogs themselves, so tests answer without a window.
class BackupFilePicker {
public:
    virtual ~BackupFilePicker() = default;

    // The chosen path, empty when cancelled. `proposed` is the file name the dialog starts with.
    virtual QString saveFile(QWidget* parent, const QString& folder, const QString& proposed) = 0;
    virtual QString openFile(QWidget* parent, const QString& folder) = 0;
};

// The system's dialogs: "备份文件(*.bak)", a save without asking before overwriting (a second
// backup within a second replaces the first, as it always has).
class SystemBackupFilePicker : public BackupFilePicker {
public:
    QString saveFile(QWidget* parent, const QString& folder, const QString& proposed) override;
    QString openFile(QWidget* parent, const QString& folder) override;
};
