#pragma once

#include <QString>

class QWidget;

// Asks for the files of the maintenance commands: where a backup or an export goes, which backup
// to restore, which workbook to import. The commands hold a picker instead of calling the system
// dialogs themselves, so tests answer without a window. Every answer is empty when cancelled.
class MaintenanceFilePicker {
public:
    virtual ~MaintenanceFilePicker() = default;

    // `proposed` is the file name the dialog starts with.
    virtual QString saveBackup(QWidget* parent, const QString& folder, const QString& proposed) = 0;
    virtual QString openBackup(QWidget* parent, const QString& folder) = 0;
    virtual QString saveWorkbook(QWidget* parent, const QString& folder,
                                 const QString& proposed) = 0;
    virtual QString openWorkbook(QWidget* parent, const QString& folder) = 0;
};

// The system's dialogs. A backup is saved without asking before overwriting (a second backup
// within a second replaces the first, as it always has); an export asks.
class SystemMaintenanceFilePicker : public MaintenanceFilePicker {
public:
    QString saveBackup(QWidget* parent, const QString& folder, const QString& proposed) override;
    QString openBackup(QWidget* parent, const QString& folder) override;
    QString saveWorkbook(QWidget* parent, const QString& folder, const QString& proposed) override;
    QString openWorkbook(QWidget* parent, const QString& folder) override;
};
