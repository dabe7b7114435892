#pragma once

#include "content/ContentServices.h"
#include "content/KindDescriptor.h"

#include <QHash>
#include <QObject>
#include <QPointer>

class EntryDialog;
class MaintenanceCommands;
class EntryViewWindow;
class ManagementListWindow;
class QMenu;

// Where the panel opens the management windows. List windows, New and Edit dialogs and deleting
// are for administrators; anyone may view an entry. Windows write through the store, whose
// change signal brings the panel up to date; none of them reaches into the panel.
class ContentWindows : public QObject {
    Q_OBJECT
public:
    explicit ContentWindows(const Services& services, QWidget* owner = nullptr);
    ~ContentWindows() override;

    ContentServices& services() { return m_services; }

    // Administrators manage everything; any agent manages the private knowledge and tools of
    // the seat's own store.
    bool mayManage(ContentKind kind) const;

    // The kind's list window, raised when it is already open; nullptr when not allowed.
    ManagementListWindow* openManagementList(ContentKind kind);
    // A New dialog; `presets` choose pickers' rows by their column (as from a panel category).
    EntryDialog* openNew(ContentKind kind, const QList<std::pair<QString, qint64>>& presets = {});
    EntryDialog* openEdit(ContentKind kind, qint64 id, bool fromQueryBar = false);
    // The panel menu's delete command, with its own wording for big categories. True when the
    // row was deleted.
    bool deleteFromMenu(ContentKind kind, qint64 id);

    // The management menu of the panel's "管理" button: one entry per list window, the custom
    // order, and the backup, restore and compaction of the shared store, enabled for
    // administrators only.
    QMenu* managementMenu(QWidget* parent);
    MaintenanceCommands& maintenance() const { return *m_maintenance; }

public slots:
    // The panel's viewRequested(kind, id).
    EntryViewWindow* openView(SearchKind kind, qint64 id);

private:
    std::optional<Row> loadRow(ContentKind kind, qint64 id);
    void present(QWidget* window);

    ContentServices m_services;
    QPointer<QWidget> m_owner;
    QHash<int, QPointer<ManagementListWindow>> m_lists;
    MaintenanceCommands* m_maintenance;
};
