#include "panel/IdSequenceSync.h"

#include <QSet>

void IdSequenceSync::apply(const QList<qint64>& current, const QList<qint64>& wanted) const
{
    const QSet<qint64> wantedSet(wanted.begin(), wanted.end());
    QList<qint64> shown = current;

    // Removals from the back, grouped into runs, so row numbers stay valid.
    for (int i = static_cast<int>(shown.size()) - 1; i >= 0;) {
        if (wantedSet.contains(shown[i])) {
            --i;
            continue;
        }
        int first = i;
        while (first > 0 && !wantedSet.contains(shown[first - 1]))
            --first;
        remove(first, i);
        shown.remove(first, i - first + 1);
        i = first - 1;
    }

    const QSet<qint64> shownSet(shown.begin(), shown.end());
    for (int row = 0; row < wanted.size(); ++row) {
        if (shownSet.contains(wanted[row]))
            continue;
        const int at = std::min(row, static_cast<int>(shown.size()));
        insert(at, wanted[row]);
        shown.insert(at, wanted[row]);
    }
    if (shown != wanted)
        reorder(wanted);
}
