#pragma once

#include "data/Store.h"
#include "data/TreeSection.h"
#include "send/SendAction.h"

#include <QAbstractItemModel>
#include <QHash>
#include <QSet>
#include <QTimer>
#include <functional>
#include <memory>
#include <vector>

// The knowledge tree: the four sections ("I"), their big categories, company affairs and
// couriers ("T"), small categories ("G"), entries ("K"), and the common list's entries ("C").
// Children are read when a node is first expanded, never all at once, and the tree follows the
// store's change signal: a write from any window appears without a reload.
class KnowledgeTreeModel : public QAbstractItemModel {
    Q_OBJECT
public:
    enum class NodeKind { Item, Type, Goods, Knowledge, Common };
    enum Role { KeyRole = Qt::UserRole + 1, KindRole, IdRole };

    struct Node {
        NodeKind kind = NodeKind::Item;
        qint64 id = 0;
        qint64 itemId = 0; // the TreeSection a "T" node belongs to
        QString name;
        int flag = 0;
        QString url;
        bool hasPicture = false;
        Node* parent = nullptr;
        std::vector<std::unique_ptr<Node>> children;
        bool fetched = false;
    };

    using IconProvider = std::function<QVariant(const Node& node)>;

    KnowledgeTreeModel(Store& store, QObject* parent = nullptr);
    ~KnowledgeTreeModel() override;

    void setIconProvider(IconProvider provider) { m_icons = std::move(provider); }
    void setToolTips(bool on) { m_toolTips = on; }

    // Clears the tree and reads the sections again.
    void reload();
    // Reads the children of every node that has them again, in the current list order; nodes
    // keep their expansion and selection.
    void resort();

    static QString key(const Node& node);
    QModelIndex indexForKey(const QString& key) const;
    const Node* node(const QModelIndex& index) const;
    // What a double-click on the node sends or opens; id 0 for sections and categories.
    EntryRef entry(const QModelIndex& index) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool hasChildren(const QModelIndex& parent = {}) const override;
    bool canFetchMore(const QModelIndex& parent) const override;
    void fetchMore(const QModelIndex& parent) override;

signals:
    void problem(const QString& message);

private:
    struct ChildRow {
        qint64 id = 0;
        QString name;
        int flag = 0;
        QString url;
        bool hasPicture = false;
        bool operator==(const ChildRow&) const = default;
    };

    Node* nodeOf(const QModelIndex& index) const;
    QModelIndex indexOf(const Node* node) const;
    bool mayHaveChildren(const Node& node) const;
    Result<QList<ChildRow>> readChildren(const Node& node) const;
    NodeKind childKind(const Node& node) const;
    std::unique_ptr<Node> makeChild(Node* parent, const ChildRow& row) const;
    void registerTree(Node* node);
    void unregisterTree(Node* node);
    void syncChildren(Node* node);
    void removeNode(Node* node);
    void onStoreChanged(Table table, qint64 id, Change change);
    void scheduleSync(Node* node);
    void runScheduledSyncs();

    Store& m_store;
    IconProvider m_icons;
    bool m_toolTips = false;
    Node m_root;
    QHash<QString, Node*> m_byKey;
    QSet<QString> m_pendingSync; // keys of fetched nodes whose children are read again
    QTimer m_syncTimer;
};
