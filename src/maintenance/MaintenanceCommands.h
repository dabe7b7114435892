#pragma once

#include "data/Services.h"
#include "data/Tables.h"
#include "exchange/SheetLayout.h"
#include "maintenance/MaintenanceFilePicker.h"

#include <QObject>
#include <QPointer>

class QMenu;
class QWidget;

// The backup, restore, compaction, import and export commands of the menus. The work itself is
// StoreMaintenance's and the workbook classes'; these ask for the files, show the progress, tell
// the outcome and, after a restore, ask the program to end, since everything it holds in memory
// belongs to the old content.
class MaintenanceCommands : public QObject {
    Q_OBJECT
public:
    MaintenanceCommands(const Services& services, QWidget* owner);

    // 自定义排序, for the lists of both stores.
    void addCustomSort(QMenu* menu, bool allowed);
    // 备份, 恢复 and 压缩 of one store, disabled when the user may not run them.
    void addStoreCommands(QMenu* menu, StoreId kind, bool allowed);
    // 从Excel导入 and 导出到Excel: every kind (both stores), or the private store's two.
    void addWorkbookCommands(QMenu* menu, ExchangeScope scope, bool allowed);

    // True when the backup was written and checked.
    bool backup(StoreId kind);
    // True when the store was replaced; restartRequired() has then been emitted.
    bool restore(StoreId kind);
    void openCompaction(StoreId kind);
    void openCustomSort();
    // True when rows were imported.
    bool importWorkbook(ExchangeScope scope);
    // True when the workbook was written.
    bool exportWorkbook(ExchangeScope scope);

    // Tests hand in a picker that answers without a window; nullptr restores the system's.
    void setPicker(MaintenanceFilePicker* picker) { m_picker = picker ? picker : &m_systemPicker; }

signals:
    void restartRequired();

private:
    QString folder(StoreId kind) const;

    Services m_services;
    QPointer<QWidget> m_owner;
    SystemMaintenanceFilePicker m_systemPicker;
    MaintenanceFilePicker* m_picker = &m_systemPicker;
};
