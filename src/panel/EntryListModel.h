#pragma once

#include "data/SearchService.h"
#include "data/Store.h"
#include "send/SendAction.h"

#include <QAbstractTableModel>
#include <QHash>
#include <QTimer>
#include <functional>

class Settings;

// One of the panel's lists (the query list and the phrase, file, tool and private pages). It
// holds only the ids of what it shows, in order; the columns of a row are read when the row is
// first drawn, a page at a time. It follows the store: a write anywhere updates it in place.
class EntryListModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum class ListKind { Query, Simple, File, Tools, Personal };

    EntryListModel(ListKind kind, Store& store, SearchService& search, const Settings& settings,
                   QObject* parent = nullptr);

    ListKind listKind() const { return m_kind; }

    // The picture in a row's first column (the widget layer draws it).
    using IconProvider = std::function<QVariant(const SearchRow& row)>;
    void setIconProvider(IconProvider provider) { m_icons = std::move(provider); }
    bool hasPicture(int row) const;

    // Every row of the page's table, within a category when `typeId` is not 0.
    void showAll(qint64 typeId = 0);
    // The rows whose name or initials contain `text`.
    void showSearch(const QString& text, SearchMode mode, qint64 typeId = 0);
    void clear();

    SearchHit hit(int row) const { return m_hits.at(row); }
    EntryRef entry(int row) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    // A whole page table is read a chunk of ids at a time, as the list is scrolled.
    bool canFetchMore(const QModelIndex& parent) const override;
    void fetchMore(const QModelIndex& parent) override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    static QStringList captions(ListKind kind);
    static constexpr int PageSize = 100;
    static constexpr int IdChunk = 1000;

signals:
    void problem(const QString& message);

private:
    enum class Source { None, All, Search };

    static quint64 key(const SearchHit& hit);
    Result<QList<SearchHit>> query(int limit = -1, int offset = 0) const;
    const SearchRow* rowAt(int row) const;
    QString cell(const SearchRow& row, int column) const;
    void onStoreChanged(Table table, qint64 id, Change change);
    void refresh();
    void setHits(QList<SearchHit> hits);
    SearchKind pageKind() const;

    ListKind m_kind;
    Store& m_store;
    SearchService& m_search;
    const Settings& m_settings;
    Source m_source = Source::None;
    QString m_text;
    SearchMode m_mode = SearchMode::All;
    qint64 m_typeId = 0;
    bool m_complete = true; // every row of the source is in m_hits
    QList<SearchHit> m_hits;
    mutable QHash<quint64, SearchRow> m_rows;
    QTimer m_refresh;
    IconProvider m_icons;
};
