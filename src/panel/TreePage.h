#pragma once

#include "panel/KnowledgeTreeModel.h"

#include <QMenu>
#include <QSet>
#include <QTimer>
#include <QWidget>

class EntryView;
class QPushButton;
class Settings;

// The tree page: `TreeView1` with the knowledge tree and `btnRefresh`. The start-up expansion
// flags are honoured as nodes come into view, so a large library is never read whole.
class TreePage : public QWidget {
    Q_OBJECT
public:
    TreePage(Store& store, const Settings& settings, QWidget* parent = nullptr);

    EntryView* view() const { return m_view; }
    KnowledgeTreeModel* model() const { return m_model; }
    QPushButton* refreshButton() const { return m_refresh; }

    // Reads the sections again and expands them as the Start… flags say.
    void load();

signals:
    void activated(const EntryRef& entry, bool onIcon);
    void problem(const QString& message);
    // A right-click on a node: listeners add their commands to `menu`.
    void nodeMenuRequested(const KnowledgeTreeModel::Node* node, QMenu* menu);

private:
    void expandVisible();

    const Settings& m_settings;
    KnowledgeTreeModel* m_model;
    EntryView* m_view;
    QPushButton* m_refresh;
    QSet<QString> m_autoExpanded; // a node the user collapsed again stays collapsed
    QTimer m_expandTimer;
};
