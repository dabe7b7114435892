#pragma once

#include "content/KindDescriptor.h"

#include <QWidget>

class ContentServices;
class EntryForm;
class QLabel;
class QLineEdit;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

// The management list of one kind ("frm" + the kind's stem): the kind's form on top, where rows
// are added, edited and the list filtered in place, the rows below with their count.
class ManagementListWindow : public QWidget {
    Q_OBJECT
public:
    ManagementListWindow(const KindDescriptor& kind, ContentServices& services,
                         QWidget* parent = nullptr);

    const KindDescriptor& kind() const { return m_kind; }
    EntryForm* form() const { return m_form; }
    QTreeWidget* list() const { return m_list; }

    // Shows every row again.
    void reload();
    bool selectRow(qint64 id);
    qint64 selectedId() const;

private:
    QPushButton* button(const QString& name, const QString& caption);
    bool readRows();
    // Replaces the remembered copy of a row that changed in place.
    void keep(const Row& row);
    void showRows(const QList<Row>& rows);
    void fillItem(QTreeWidgetItem* item, const Row& row);
    void onCurrentChanged();
    // The row of `id`; a failed read is shown and gives nothing, as does a row that is gone.
    std::optional<Row> loadRow(qint64 id);
    void onItemClicked(QTreeWidgetItem* item, int column);
    void add();
    void edit();
    void removeSelected();
    void query();
    void filterByName(const QString& text);
    void exportAll();
    void setRowCommands(bool enabled);

    const KindDescriptor& m_kind;
    ContentServices& m_services;
    EntryForm* m_form;
    QLineEdit* m_id;
    QTreeWidget* m_list;
    QLabel* m_count;
    QList<Row> m_rows; // as last read from the store, in list order
    QPushButton* m_edit = nullptr;
    QPushButton* m_remove = nullptr;
};
