#pragma once

#include "data/Result.h"
#include "data/SearchIndex.h"
#include "data/Store.h"

#include <QObject>
#include <QSet>
#include <array>
#include <optional>
#include <vector>

class Settings;

// The kinds a query row can be, with the letters the lists mark them with.
enum class SearchKind { Knowledge, Affair, Courier, Simple, File, Tool, Personal };
inline constexpr int SearchKindCount = 7;

// The query page's filter modes, and the single-kind searches of the other pages.
enum class SearchMode { All, Common, Knowledge, Affairs, Couriers, Simple, Files, Tools, Personal };

// A base that makes default-initialisation of a plain struct leave its fields as they are, while
// value-initialisation (`T()`, as QHash::value() gives for a missing key) still clears them:
// QList(size) default-initialises, and a list sized for a search is written whole right after.
struct UnclearedByDefault {
    UnclearedByDefault() {} // NOLINT: user-provided on purpose, see above
};

// Eight bytes where the compiler packs bit-fields of different types together: a search may
// return most of a million entries. Ids are row ids, far below 2^55.
struct SearchHit : UnclearedByDefault {
    static SearchHit of(SearchKind hitKind, qint64 hitId);
    SearchKind kind : 8;
    qint64 id : 56;
};
static_assert(QTypeInfo<SearchHit>::isComplex, "QList(size) must default-initialise hits");

inline SearchHit SearchHit::of(SearchKind hitKind, qint64 hitId)
{
    return SearchHit{{}, hitKind, hitId};
}

// The columns a result list shows for one hit.
struct SearchRow {
    SearchKind kind = SearchKind::Knowledge;
    qint64 id = 0;
    QString name;
    QString description; // knowledge, affairs, couriers, private knowledge
    int flag = 0;        // affairs and couriers: the address is enabled
    QString url;         // affairs and couriers
    QString extname;     // files
    int toolType = 0;    // tools
    QString path;        // tools
    bool hasPicture = false;
};

// Search over every kind of material by a part of the name or by its pinyin (PinyinMatcher). Names
// are indexed in memory per kind, built on first use and kept current through the store's change
// signal; writes by other programs on the same files are noticed through the stores' data
// version and rebuild the affected kinds.
class SearchService : public QObject {
    Q_OBJECT
public:
    SearchService(Store& store, const Settings& settings, QObject* parent = nullptr);

    static QChar letter(SearchKind kind);
    static std::optional<SearchKind> kindFromLetter(QChar letter);
    static Table table(SearchKind kind);

    // The hits for `text` (trimmed; matched literally, letter case ignored, or as pinyin), kinds
    // in the query page's order, each kind in the current list order (best match first when
    // QueryBestMatchFirst is on). `typeId` restricts a
    // single-kind search to one category (0: all).
    Result<QList<SearchHit>> search(const QString& text, SearchMode mode, qint64 typeId = 0);

    QString name(const SearchHit& hit);
    // The list columns of the hits, in the same order.
    Result<QList<SearchRow>> rows(const QList<SearchHit>& hits);

private:
    struct KindState {
        SearchIndex index;
        bool built = false;
        QSet<qint64> pending; // ids to read again before the next search
    };

    KindState& state(SearchKind kind) { return m_kinds[static_cast<size_t>(kind)]; }
    void onChanged(Table table, qint64 id, Change change);
    Result<void> refreshExternalChanges();
    Result<void> ensureCurrent(SearchKind kind);
    static QString indexQuery(SearchKind kind);
    // Reads the rows `ids` again.
    Result<void> load(SearchKind kind, const QList<qint64>& ids);
    // Indexes the kinds afresh.
    Result<void> build(const QList<SearchKind>& kinds);
    // The positions in the kind's index of its hits, filtered and in the list order.
    Result<void> searchKind(SearchKind kind, QStringView needle, const PinyinMatcher& pinyin,
                            bool commonOnly, qint64 typeId, std::vector<quint32>& found);
    // With QueryBestMatchFirst: whole-name hits, then those at the start, then the rest.
    static void rankBestFirst(const SearchIndex& index, QStringView needle,
                              const PinyinMatcher& pinyin, std::vector<quint32>& found);

    Store& m_store;
    const Settings& m_settings;
    std::array<KindState, SearchKindCount> m_kinds;
    std::array<std::optional<qint64>, 2> m_dataVersion;
};
