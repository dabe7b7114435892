#include "panel/KnowledgeTreeModel.h"

#include "data/Columns.h"
#include "panel/IdSequenceSync.h"

#include <algorithm>
#include <iterator>

namespace {

QString prefix(KnowledgeTreeModel::NodeKind kind)
{
    switch (kind) {
    case KnowledgeTreeModel::NodeKind::Item:
        return QStringLiteral("I");
    case KnowledgeTreeModel::NodeKind::Type:
        return QStringLiteral("T");
    case KnowledgeTreeModel::NodeKind::Goods:
        return QStringLiteral("G");
    case KnowledgeTreeModel::NodeKind::Knowledge:
        return QStringLiteral("K");
    case KnowledgeTreeModel::NodeKind::Common:
        return QStringLiteral("C");
    }
    return {};
}

} // namespace

KnowledgeTreeModel::KnowledgeTreeModel(Store& store, QObject* parent)
    : QAbstractItemModel(parent), m_store(store)
{
    m_root.fetched = true;
    m_syncTimer.setSingleShot(true);
    m_syncTimer.setInterval(0);
    connect(&m_syncTimer, &QTimer::timeout, this, &KnowledgeTreeModel::runScheduledSyncs);
    connect(&m_store, &Store::changed, this, &KnowledgeTreeModel::onStoreChanged);
}

KnowledgeTreeModel::~KnowledgeTreeModel() = default;

QString KnowledgeTreeModel::key(const Node& node)
{
    return prefix(node.kind) + QString::number(node.id);
}

void KnowledgeTreeModel::reload()
{
    beginResetModel();
    m_root.children.clear();
    m_byKey.clear();
    m_pendingSync.clear();
    Query q;
    q.table = Table::Item;
    q.columns = {Column::Id, Column::Name};
    q.ordered = false;
    Result<QList<Row>> items = m_store.rows(q);
    if (items) {
        QList<Row> sorted = items.value();
        std::sort(sorted.begin(), sorted.end(), [](const Row& a, const Row& b) {
            return a.value(Column::Id).toLongLong() < b.value(Column::Id).toLongLong();
        });
        for (const Row& r : sorted) {
            auto n = std::make_unique<Node>();
            n->kind = NodeKind::Item;
            n->id = r.value(Column::Id).toLongLong();
            n->itemId = n->id;
            n->name = r.value(Column::Name).toString();
            n->parent = &m_root;
            m_byKey.insert(key(*n), n.get());
            m_root.children.push_back(std::move(n));
        }
    }
    endResetModel();
    if (!items)
        emit problem(items.message());
}

void KnowledgeTreeModel::resort()
{
    for (Node* n : std::as_const(m_byKey)) {
        if (!n->children.empty())
            scheduleSync(n);
    }
}

KnowledgeTreeModel::Node* KnowledgeTreeModel::nodeOf(const QModelIndex& index) const
{
    if (!index.isValid())
        return const_cast<Node*>(&m_root);
    return static_cast<Node*>(index.internalPointer());
}

const KnowledgeTreeModel::Node* KnowledgeTreeModel::node(const QModelIndex& index) const
{
    return index.isValid() ? nodeOf(index) : nullptr;
}

QModelIndex KnowledgeTreeModel::indexOf(const Node* node) const
{
    if (!node || node == &m_root || !node->parent)
        return {};
    const auto& siblings = node->parent->children;
    for (size_t i = 0; i < siblings.size(); ++i) {
        if (siblings[i].get() == node)
            return createIndex(static_cast<int>(i), 0, const_cast<Node*>(node));
    }
    return {};
}

QModelIndex KnowledgeTreeModel::indexForKey(const QString& key) const
{
    return indexOf(m_byKey.value(key));
}

QModelIndex KnowledgeTreeModel::index(int row, int column, const QModelIndex& parent) const
{
    if (column != 0 || row < 0)
        return {};
    const Node* p = nodeOf(parent);
    if (static_cast<size_t>(row) >= p->children.size())
        return {};
    return createIndex(row, 0, p->children[static_cast<size_t>(row)].get());
}

QModelIndex KnowledgeTreeModel::parent(const QModelIndex& child) const
{
    if (!child.isValid())
        return {};
    return indexOf(nodeOf(child)->parent);
}

int KnowledgeTreeModel::rowCount(const QModelIndex& parent) const
{
    if (parent.column() > 0)
        return 0;
    return static_cast<int>(nodeOf(parent)->children.size());
}

int KnowledgeTreeModel::columnCount(const QModelIndex&) const
{
    return 1;
}

bool KnowledgeTreeModel::mayHaveChildren(const Node& node) const
{
    switch (node.kind) {
    case NodeKind::Item:
        return true;
    case NodeKind::Type:
        return node.itemId == sectionId(TreeSection::Product);
    case NodeKind::Goods:
        return true;
    case NodeKind::Knowledge:
    case NodeKind::Common:
        return false;
    }
    return false;
}

bool KnowledgeTreeModel::hasChildren(const QModelIndex& parent) const
{
    const Node* n = nodeOf(parent);
    if (n == &m_root)
        return !n->children.empty();
    if (!mayHaveChildren(*n))
        return false;
    return !n->fetched || !n->children.empty();
}

bool KnowledgeTreeModel::canFetchMore(const QModelIndex& parent) const
{
    const Node* n = nodeOf(parent);
    return n != &m_root && mayHaveChildren(*n) && !n->fetched;
}

KnowledgeTreeModel::NodeKind KnowledgeTreeModel::childKind(const Node& node) const
{
    switch (node.kind) {
    case NodeKind::Item:
        return node.id == sectionId(TreeSection::Common) ? NodeKind::Common : NodeKind::Type;
    case NodeKind::Type:
        return NodeKind::Goods;
    default:
        return NodeKind::Knowledge;
    }
}

Result<QList<KnowledgeTreeModel::ChildRow>> KnowledgeTreeModel::readChildren(const Node& node) const
{
    Query q;
    switch (node.kind) {
    case NodeKind::Item:
        if (node.id == sectionId(TreeSection::Common)) {
            q.table = Table::Knowledge;
            q.columns = {Column::Id, Column::Name};
            q.blobPresence = true;
            q.where = {{Column::CommonFlag, 1}};
            q.sortColumn = Column::CommonSerialNum;
        } else {
            q.table = Table::Type;
            q.columns = {Column::Id, Column::Name, Column::Flag, Column::Url};
            q.where = {{Column::ItemId, node.id}};
        }
        break;
    case NodeKind::Type:
        q.table = Table::Goods;
        q.columns = {Column::Id, Column::Name};
        q.where = {{Column::TypeId, node.id}};
        break;
    case NodeKind::Goods:
        q.table = Table::Knowledge;
        q.columns = {Column::Id, Column::Name};
        q.blobPresence = true;
        q.where = {{Column::GoodsId, node.id}};
        q.sortColumn = Column::LittleSerialNum;
        break;
    default:
        return QList<ChildRow>();
    }
    Result<QList<Row>> rows = m_store.rows(q);
    if (!rows)
        return rows.error();
    QList<ChildRow> out;
    out.reserve(rows.value().size());
    for (const Row& r : rows.value()) {
        ChildRow c;
        c.id = r.value(Column::Id).toLongLong();
        c.name = r.value(Column::Name).toString();
        c.flag = r.value(Column::Flag).toInt();
        c.url = r.value(Column::Url).toString();
        c.hasPicture = r.value(Column::HasBlob).toBool();
        out << c;
    }
    return out;
}

std::unique_ptr<KnowledgeTreeModel::Node> KnowledgeTreeModel::makeChild(Node* parent,
                                                                        const ChildRow& row) const
{
    auto n = std::make_unique<Node>();
    n->kind = childKind(*parent);
    n->id = row.id;
    n->itemId = parent->kind == NodeKind::Item ? parent->id : parent->itemId;
    n->name = row.name;
    n->flag = row.flag;
    n->url = row.url;
    n->hasPicture = row.hasPicture;
    n->parent = parent;
    return n;
}

void KnowledgeTreeModel::registerTree(Node* node)
{
    m_byKey.insert(key(*node), node);
    for (auto& c : node->children)
        registerTree(c.get());
}

void KnowledgeTreeModel::unregisterTree(Node* node)
{
    for (auto& c : node->children)
        unregisterTree(c.get());
    const QString k = key(*node);
    if (m_byKey.value(k) == node)
        m_byKey.remove(k);
    m_pendingSync.remove(k);
}

void KnowledgeTreeModel::fetchMore(const QModelIndex& parent)
{
    Node* n = nodeOf(parent);
    if (n == &m_root || n->fetched)
        return;
    n->fetched = true;
    Result<QList<ChildRow>> rows = readChildren(*n);
    if (!rows) {
        emit problem(rows.message());
        return;
    }
    if (rows.value().isEmpty())
        return;
    beginInsertRows(parent, 0, static_cast<int>(rows.value().size()) - 1);
    n->children.reserve(static_cast<size_t>(rows.value().size()));
    for (const ChildRow& r : rows.value()) {
        n->children.push_back(makeChild(n, r));
        m_byKey.insert(key(*n->children.back()), n->children.back().get());
    }
    endInsertRows();
}

void KnowledgeTreeModel::syncChildren(Node* node)
{
    if (!node->fetched)
        return;
    Result<QList<ChildRow>> rows = readChildren(*node);
    if (!rows) {
        emit problem(rows.message());
        return;
    }
    const QModelIndex parentIndex = indexOf(node);
    QHash<qint64, ChildRow> byId;
    QList<qint64> wanted;
    for (const ChildRow& r : rows.value()) {
        byId.insert(r.id, r);
        wanted << r.id;
    }
    QList<qint64> current;
    for (const auto& c : node->children)
        current << c->id;

    IdSequenceSync sync;
    sync.remove = [&](int first, int last) {
        beginRemoveRows(parentIndex, first, last);
        for (int i = first; i <= last; ++i)
            unregisterTree(node->children[static_cast<size_t>(i)].get());
        node->children.erase(node->children.begin() + first, node->children.begin() + last + 1);
        endRemoveRows();
    };
    sync.insert = [&](int row, qint64 id) {
        beginInsertRows(parentIndex, row, row);
        auto child = makeChild(node, byId.value(id));
        Node* raw = child.get();
        node->children.insert(node->children.begin() + row, std::move(child));
        registerTree(raw);
        endInsertRows();
    };
    sync.reorder = [&](const QList<qint64>& order) {
        emit layoutAboutToBeChanged({parentIndex});
        QHash<qint64, size_t> position;
        for (size_t i = 0; i < node->children.size(); ++i)
            position.insert(node->children[i]->id, i);
        std::vector<std::unique_ptr<Node>> reordered;
        reordered.reserve(node->children.size());
        for (qint64 id : order)
            reordered.push_back(std::move(node->children[position.value(id)]));
        const QModelIndexList persistent = persistentIndexList();
        QModelIndexList from, to;
        for (const QModelIndex& idx : persistent) {
            if (idx.parent() != parentIndex)
                continue;
            Node* moved = nodeOf(idx);
            for (size_t i = 0; i < reordered.size(); ++i) {
                if (reordered[i].get() == moved) {
                    from << idx;
                    to << createIndex(static_cast<int>(i), 0, moved);
                    break;
                }
            }
        }
        node->children = std::move(reordered);
        changePersistentIndexList(from, to);
        emit layoutChanged({parentIndex});
    };
    sync.apply(current, wanted);

    for (size_t i = 0; i < node->children.size(); ++i) {
        Node* c = node->children[i].get();
        const ChildRow r = byId.value(c->id);
        if (c->name != r.name || c->flag != r.flag || c->url != r.url ||
            c->hasPicture != r.hasPicture) {
            c->name = r.name;
            c->flag = r.flag;
            c->url = r.url;
            c->hasPicture = r.hasPicture;
            const QModelIndex idx = createIndex(static_cast<int>(i), 0, c);
            emit dataChanged(idx, idx);
        }
    }
}

void KnowledgeTreeModel::removeNode(Node* node)
{
    Node* parent = node->parent;
    const QModelIndex idx = indexOf(node);
    if (!parent || !idx.isValid())
        return;
    beginRemoveRows(indexOf(parent), idx.row(), idx.row());
    unregisterTree(node);
    parent->children.erase(parent->children.begin() + idx.row());
    endRemoveRows();
}

void KnowledgeTreeModel::scheduleSync(Node* node)
{
    if (!node || !node->fetched)
        return;
    m_pendingSync.insert(key(*node));
    m_syncTimer.start();
}

void KnowledgeTreeModel::runScheduledSyncs()
{
    const QSet<QString> keys = std::exchange(m_pendingSync, {});
    for (const QString& k : keys) {
        if (Node* n = m_byKey.value(k))
            syncChildren(n);
    }
}

namespace {

// How a written row finds its nodes: the key of its node, the column naming its parent row and
// the parent node's key. Knowledge entries also have a twin in the common list.
struct TreeLink {
    Table table;
    QChar prefix;
    const char* parentColumn;
    QChar parentPrefix;
};
constexpr TreeLink treeLinks[] = {
    {Table::Knowledge, u'K', "goodsid", u'G'},
    {Table::Goods, u'G', "typeid", u'T'},
    {Table::Type, u'T', "itemid", u'I'},
};

QString nodeKey(QChar prefix, qint64 id)
{
    return prefix + QString::number(id);
}

} // namespace

void KnowledgeTreeModel::onStoreChanged(Table table, qint64 id, Change change)
{
    if (change == Change::Reset) {
        reload();
        return;
    }
    const auto link = std::find_if(std::begin(treeLinks), std::end(treeLinks),
                                   [table](const TreeLink& l) { return l.table == table; });
    if (link == std::end(treeLinks))
        return;
    QStringList keys{nodeKey(link->prefix, id)};
    if (table == Table::Knowledge)
        keys << nodeKey(u'C', id);
    if (change == Change::Removed) {
        for (const QString& k : std::as_const(keys)) {
            if (Node* n = m_byKey.value(k))
                removeNode(n);
        }
        return;
    }
    // Where the row was, and where it is now: it may have moved to another parent.
    if (Node* n = m_byKey.value(keys.first()))
        scheduleSync(n->parent);
    // Marked common or not, an entry may come into or leave the common list.
    if (table == Table::Knowledge)
        scheduleSync(m_byKey.value(nodeKey(u'I', sectionId(TreeSection::Common))));
    const QString parentColumn = QLatin1String(link->parentColumn);
    const Result<std::optional<Row>> row = m_store.row(table, id, {parentColumn});
    if (row && row.value())
        scheduleSync(m_byKey.value(
            nodeKey(link->parentPrefix, row.value()->value(parentColumn).toLongLong())));
}

EntryRef KnowledgeTreeModel::entry(const QModelIndex& index) const
{
    EntryRef e;
    const Node* n = node(index);
    if (!n)
        return e;
    switch (n->kind) {
    case NodeKind::Knowledge:
    case NodeKind::Common: {
        e.kind = SearchKind::Knowledge;
        e.id = n->id;
        e.title = n->name;
        Result<std::optional<Row>> row =
            m_store.row(Table::Knowledge, n->id, {Column::Name, Column::Description});
        if (row && row.value()) {
            e.title = row.value()->value(Column::Name).toString();
            e.description = row.value()->value(Column::Description).toString();
        }
        return e;
    }
    case NodeKind::Type:
        if (n->itemId == sectionId(TreeSection::Product))
            return e;
        e.kind =
            n->itemId == sectionId(TreeSection::Affairs) ? SearchKind::Affair : SearchKind::Courier;
        e.id = n->id;
        e.title = n->name;
        e.flag = n->flag;
        e.url = n->url;
        return e;
    default:
        return e;
    }
}

QVariant KnowledgeTreeModel::data(const QModelIndex& index, int role) const
{
    const Node* n = node(index);
    if (!n)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return n->name;
    case Qt::DecorationRole:
        return m_icons ? m_icons(*n) : QVariant();
    case Qt::ToolTipRole:
        return m_toolTips ? QVariant(n->name) : QVariant();
    case KeyRole:
        return key(*n);
    case KindRole:
        return static_cast<int>(n->kind);
    case IdRole:
        return n->id;
    default:
        return {};
    }
}
