#pragma once

#include "data/Services.h"
#include "data/Tables.h"
#include "maintenance/BackupFilePicker.h"

#include <QObject>
#include <QPointer>

class QMenu;
class QWidget;

// The backup, restore and compaction commands of the menus. The work itself is
// StoreMaintenance's; these ask for the files, tell the outcome and, after a restore, ask the
// program to end, since everything it holds in memory belongs to the old content.
class MaintenanceCommands : public QObject {
    Q_OBJECT
public:
    MaintenanceCommands(const Services& services, QWidget* owner);

    // 自定义排序, for the lists of both stores.
    void addCustomSort(QMenu* menu, bool allowed);
    // 备份, 恢复 and 压缩 of one store, disabled when the user may not run them.
    void addStoreCommands(QMenu* menu, StoreId kind, bool allowed);

    // True when the backup was written and checked.
    bool backup(StoreId kind);
    // True when the store was replaced; restartRequired() has then been emitted.
    bool restore(StoreId kind);
    void openCompaction(StoreId kind);
    void openCustomSort();

    // Tests hand in a picker that answers without a window; nullptr restores the system's.
    void setPicker(BackupFilePicker* picker) { m_picker = picker ? picker : &m_systemPicker; }

signals:
    void restartRequired();

private:
    QString folder(StoreId kind) const;

    Services m_services;
    QPointer<QWidget> m_owner;
    SystemBackupFilePicker m_systemPicker;
    BackupFilePicker* m_picker = &m_systemPicker;
};
