#pragma once

#include "data/CustomOrder.h"
#include "widgets/FramelessDialog.h"

class QLineEdit;
class QRadioButton;
class QTreeWidget;
class QTreeWidgetItem;
class Settings;

// frmCustomSort: a tree of the lists, the chosen list's rows with their numbers, and the ways to
// order them: a typed number, a click on 名称 or 序号, a drag, 上移 and 下移. 保存 writes the
// numbers through CustomOrder; the panel's lists follow the store's change signal.
class CustomSortWindow : public FramelessDialog {
    Q_OBJECT
public:
    CustomSortWindow(Store& store, const Settings& settings, QWidget* parent = nullptr);

    // Shows the list of a tree node key ("T5") in the scope the options choose.
    void showList(const QString& nodeKey);
    void moveCurrent(int step);
    void headerClicked(int column);
    bool save();

private:
    void fillTree();
    void fillRows();
    void readDroppedOrder();
    void numberTyped(const QString& text);

    Store& m_store;
    const Settings& m_settings;
    CustomOrder m_order;
    std::optional<CustomOrder::Target> m_target;
    QList<CustomOrder::Row> m_rows;
    QTreeWidget* m_tree;
    QTreeWidget* m_list;
    QRadioButton* m_categories;
    QLineEdit* m_number;
    QString m_key;
    bool m_filling = false;
};
