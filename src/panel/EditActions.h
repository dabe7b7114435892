#pragma once

#include "content/KindDescriptor.h"
#include "panel/KnowledgeTreeModel.h"

#include <QList>
#include <QString>
#include <utility>

// One command of a right-click menu in the panel: open a New dialog (with categories chosen
// beforehand), an Edit dialog, or delete.
struct EditAction {
    enum class Verb { New, Edit, Delete };
    Verb verb = Verb::Edit;
    ContentKind kind = ContentKind::Knowledge;
    qint64 id = 0;
    QList<std::pair<QString, qint64>> presets; // New: column -> row id of a category picker
    bool fromQueryBar = false;                 // Edit: the dialog's caption says so
    QString text;
};

// What the panel's right-click menus offer, decided without a window.
namespace EditActions {

// A tree node: on a section root, a new row of that section; on a category, a new row below it
// and the category's own edit and delete; on an entry, a new entry beside it (same
// categories), edit and delete.
QList<EditAction> forTreeNode(const KnowledgeTreeModel::Node& node);
// A row of a list (query page, page lists, or the bottom query bar).
QList<EditAction> forRow(SearchKind kind, qint64 id, bool fromQueryBar);

} // namespace EditActions
