#pragma once

#include "content/ContentFiles.h"
#include "content/EntryValues.h"
#include "content/KindDescriptor.h"
#include "data/Result.h"
#include "data/Store.h"

// Writes what the forms hold: the checks in the kind's order, the duplicate test, then the row
// with its picture or file in one transaction. A name that another seat wrote between the test
// and the write is refused by the store's constraint with the same message as the test. Copies
// on disk that a change makes stale are removed.
class EntryWriter {
public:
    EntryWriter(Store& store, const ContentFiles& files);

    // The new row's id, or `id` itself when editing; the error text is what the user is told.
    Result<qint64> save(const KindDescriptor& kind, const EntryValues& values, SaveContext context,
                        qint64 id = 0);

    // Removes the row, and with a category everything under it.
    Result<Cascade> remove(const KindDescriptor& kind, qint64 id);

    // The row as the forms load it: every column but the bytes, the category names, and
    // `hasblob`. Nothing when the row is gone.
    Result<std::optional<Row>> load(const KindDescriptor& kind, qint64 id);

    // The rows of the list window, in list order.
    Result<QList<Row>> list(const KindDescriptor& kind);

private:
    Row rowFrom(const KindDescriptor& kind, const EntryValues& values) const;
    // The disk copies of these rows, as they are before a change.
    Result<QStringList> copiesOf(const KindDescriptor& kind, const Where& where);

    Store& m_store;
    const ContentFiles& m_files;
};
