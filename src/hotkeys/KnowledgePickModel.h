#pragma once

#include "data/Result.h"

#include <QAbstractTableModel>
#include <QList>
#include <QSet>

class Store;

// The knowledge entries offered for a hot key, with a check box each. Every entry is read once
// (list order, with its category names); filters then choose which of them are shown. Checks
// belong to entries, not to rows, so they survive a change of filter.
class KnowledgePickModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { Id, Title, BigCategory, SmallCategory, Common, ColumnCount };

    explicit KnowledgePickModel(QObject* parent = nullptr);

    Result<void> load(Store& store);

    // Entries whose title contains `title` (empty: any), within the big and small category
    // when they are not 0.
    void filter(const QString& title, qint64 typeId, qint64 goodsId);
    // Entries whose title or pinyin initials contain `text`, in any category.
    void quickQuery(const QString& text);

    qint64 id(int row) const;
    void setChecked(const QList<qint64>& ids);
    // The checked entries, in list order, shown or not.
    QList<qint64> checkedIds() const;
    int checkedCount() const { return static_cast<int>(m_checked.size()); }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

signals:
    void checkedChanged();

private:
    struct Entry {
        qint64 id = 0;
        QString name;
        QString foldedName; // as the search matches it
        qint64 typeId = 0;
        qint64 goodsId = 0;
        QString typeName;
        QString goodsName;
        bool common = false;
    };

    template <class Keep> void show(Keep keep);

    QList<Entry> m_entries;
    QList<int> m_shown; // positions in m_entries
    QSet<qint64> m_checked;
};
