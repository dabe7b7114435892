#include "panel/EditActions.h"

#include "data/Columns.h"
#include "data/TreeSection.h"

namespace {

using Node = KnowledgeTreeModel::Node;
using NodeKind = KnowledgeTreeModel::NodeKind;
using Verb = EditAction::Verb;

EditAction make(Verb verb, ContentKind kind, qint64 id, const QString& text)
{
    EditAction a;
    a.verb = verb;
    a.kind = kind;
    a.id = id;
    a.text = text;
    return a;
}

QList<EditAction> editAndDelete(ContentKind kind, qint64 id, bool fromQueryBar = false)
{
    EditAction edit = make(Verb::Edit, kind, id, QStringLiteral("编辑"));
    edit.fromQueryBar = fromQueryBar;
    return {edit, make(Verb::Delete, kind, id, QStringLiteral("删除"))};
}

// A new knowledge entry in the small category `goods` of the big category `type`.
EditAction newKnowledge(qint64 goods, qint64 type)
{
    EditAction a = make(Verb::New, ContentKind::Knowledge, 0, QStringLiteral("新增知识"));
    a.presets = {{Column::TypeId, type}, {Column::GoodsId, goods}};
    return a;
}

std::optional<ContentKind> sectionKind(qint64 section)
{
    switch (static_cast<TreeSection>(section)) {
    case TreeSection::Product:
        return ContentKind::BigCategory;
    case TreeSection::Affairs:
        return ContentKind::Affair;
    case TreeSection::Couriers:
        return ContentKind::Courier;
    case TreeSection::Common:
        break;
    }
    return std::nullopt;
}

QString newText(ContentKind kind)
{
    switch (kind) {
    case ContentKind::BigCategory:
        return QStringLiteral("新增大类");
    case ContentKind::Affair:
        return QStringLiteral("新增公司事务");
    default:
        return QStringLiteral("新增快递");
    }
}

} // namespace

namespace EditActions {

QList<EditAction> forTreeNode(const Node& node)
{
    switch (node.kind) {
    case NodeKind::Item:
        if (const std::optional<ContentKind> kind = sectionKind(node.id))
            return {make(Verb::New, *kind, 0, newText(*kind))};
        return {};
    case NodeKind::Type: {
        const std::optional<ContentKind> kind = sectionKind(node.itemId);
        if (!kind)
            return {};
        QList<EditAction> out;
        if (*kind == ContentKind::BigCategory) {
            EditAction small =
                make(Verb::New, ContentKind::SmallCategory, 0, QStringLiteral("新增小类"));
            small.presets = {{Column::TypeId, node.id}};
            out << small;
        } else {
            out << make(Verb::New, *kind, 0, newText(*kind));
        }
        return out + editAndDelete(*kind, node.id);
    }
    case NodeKind::Goods: {
        const qint64 type = node.parent ? node.parent->id : 0;
        return QList<EditAction>{newKnowledge(node.id, type)} +
               editAndDelete(ContentKind::SmallCategory, node.id);
    }
    case NodeKind::Knowledge: {
        const Node* goods = node.parent;
        const qint64 type = goods && goods->parent ? goods->parent->id : 0;
        return QList<EditAction>{newKnowledge(goods ? goods->id : 0, type)} +
               editAndDelete(ContentKind::Knowledge, node.id);
    }
    case NodeKind::Common:
        return editAndDelete(ContentKind::Knowledge, node.id);
    }
    return {};
}

QList<EditAction> forRow(SearchKind kind, qint64 id, bool fromQueryBar)
{
    const std::optional<ContentKind> content = Kinds::forSearchKind(kind);
    if (!content || id == 0)
        return {};
    return editAndDelete(*content, id, fromQueryBar);
}

} // namespace EditActions
