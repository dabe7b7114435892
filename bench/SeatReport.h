#pragma once

#include "SeatLog.h"
#include "data/Store.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <vector>

// The figures of one bench_seats run, from the seats' logs and the store as the run left it.
class SeatReport {
public:
    // A row and how often it had been used before the run.
    struct Use {
        Table table = Table::Knowledge;
        qint64 id = 0;
        qint64 before = 0;
    };

    SeatReport(QList<SeatLog::Record> seats, bool onServer);

    // Compares the store with what the seats were told they had written.
    Result<void> verify(Store& store, const QList<Use>& uses);

    struct Spread {
        qsizetype count = 0;
        double p50 = 0;
        double p95 = 0;
        double max = 0;
    };

    int inserts = 0;
    int updates = 0;
    int bumps = 0;
    int failed = 0;
    // A value a seat was told was written but the store does not hold, or a missing row; for use
    // counts, every bump missing.
    int lost = 0;
    // Use counts higher than every bump could explain.
    int extra = 0;
    QStringList lostExamples;
    QStringList failedExamples;
    QStringList seatErrors; // the first few
    int seatErrorCount = 0; // searches that failed
    Spread writeMs;
    Spread searchMs;
    // Server: from the writer's commit (its write call returning) to each other seat's changed()
    // of the row. The server tells the others at the commit, before the writer has its answer,
    // so many of these are 0; the time from the start of the write call bounds it from above.
    Spread heardMs;
    Spread heardFromStartMs;
    int unheard = 0;
    // From the writer's commit of a new row until each other seat's next search finds it.
    Spread seenMs;
    int unseen = 0;

    static Spread spread(std::vector<double> values);

private:
    void countWrites();
    void measureHearing();
    void measureSeeing();

    QList<SeatLog::Record> m_seats;
    bool m_onServer = false;
};
