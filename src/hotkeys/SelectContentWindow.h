#pragma once

#include "widgets/FramelessDialog.h"

#include <QList>

class KnowledgePickModel;
class QComboBox;
class QLabel;
class QLineEdit;
class QTableView;
class Store;

// `frmSelectContent`: picks the knowledge entries a hot key pastes, at most ten. The list can be
// narrowed by title and categories, or searched by title and pinyin initials as the title is
// typed. Checks survive narrowing: what is checked is chosen, shown or not.
class SelectContentWindow : public FramelessDialog {
    Q_OBJECT
public:
    SelectContentWindow(Store& store, const QList<qint64>& chosen, QWidget* parent = nullptr);

    // The checked entries in list order; valid once the window was accepted.
    QList<qint64> chosen() const { return m_chosen; }

    KnowledgePickModel* model() const { return m_model; }

private:
    void fillBigCategories();
    void fillSmallCategories();
    void applyFilter();
    void updateCounts();
    void confirm();

    Store& m_store;
    KnowledgePickModel* m_model;
    QTableView* m_list;
    QLineEdit* m_title;
    QComboBox* m_types;
    QComboBox* m_goods;
    QLabel* m_count;
    QLabel* m_checkedCount;
    QList<qint64> m_chosen;
};
