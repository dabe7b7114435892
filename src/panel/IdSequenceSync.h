#pragma once

#include <QList>
#include <QtGlobal>
#include <functional>

// Brings a shown sequence of ids to a new one with the fewest model notifications: removals,
// then insertions at their final places, then (only if the order still differs) one reorder.
struct IdSequenceSync {
    std::function<void(int first, int last)> remove;         // rows first..last, current order
    std::function<void(int row, qint64 id)> insert;          // at row, in the new order
    std::function<void(const QList<qint64>& order)> reorder; // the final order

    void apply(const QList<qint64>& current, const QList<qint64>& wanted) const;
};
