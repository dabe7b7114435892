#pragma once

#include "SeatLog.h"
#include "data/Result.h"
#include "data/Store.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QTimer>
#include <memory>
#include <random>

class SearchService;
class Startup;

// One seat of bench_seats, in a process of its own: an agent at ten times an agent's pace on a
// data root whose config.ini names the shared store. It opens the stores as the panel does,
// says "ready" on stdout, waits for the go file (start and end times), then searches, writes and
// sends with random think times until the end, listens a little longer for the other seats'
// last writes, searches once more and ends. Everything it does and hears goes to its log.
class SeatWorker : public QObject {
    Q_OBJECT
public:
    // Mean think times at the bench's pace, in milliseconds (an agent's divided by ten).
    static constexpr int SearchEveryMs = 400;
    static constexpr int WriteEveryMs = 3000;
    static constexpr int SendEveryMs = 1000;
    // After the end, how long the seat keeps hearing the others' last writes.
    static constexpr int DrainMs = 5000;
    // In every name a seat inserts, so that one search finds all of them.
    static constexpr char16_t Marker[] = u"压测坐席";

    struct Plan {
        int seat = 0;
        int seats = 1;
        QString root;
        QString logPath;
        QString goPath;
        // Rows every seat sends often; the others are shared out among the seats for editing.
        QList<qint64> hotKnowledge;
        QList<qint64> hotPhrases;
        // Off: the seat only writes and sends, and searches once at the end.
        bool searching = true;
    };

    explicit SeatWorker(Plan plan);
    ~SeatWorker() override;

    // Runs the seat to its end; the process's exit code.
    int run();

private:
    Result<void> prepare();
    void waitForGo();
    void schedule(QTimer& timer, int meanMs);
    void search();
    // Searches for the marker and logs the rows found for the first time.
    void lookForNewRows();
    void write();
    void send();
    void finish();

    SeatLog::Write insertKnowledge();
    SeatLog::Write insertPhrase();
    SeatLog::Write updateKnowledge();
    SeatLog::Write updatePhrase();
    qint64 pick(const QList<qint64>& ids);
    QString words();

    Plan m_plan;
    SeatLog::Writer m_log;
    std::unique_ptr<Startup> m_startup;
    std::unique_ptr<SearchService> m_search;
    std::mt19937 m_random;
    QTimer m_goPoll;
    QTimer m_searchTimer;
    QTimer m_writeTimer;
    QTimer m_sendTimer;
    qint64 m_endUs = 0;
    bool m_running = false;
    int m_serial = 0;
    QList<qint64> m_goods;    // small categories, for new knowledge
    QList<qint64> m_goodsBig; // the big category of each
    QList<qint64> m_phraseTypes;
    QList<qint64> m_ownKnowledge; // rows this seat edits: its share and its own new ones
    QList<qint64> m_ownPhrases;
    QSet<qint64> m_seenKnowledge;
    QSet<qint64> m_seenPhrases;
    QSet<qint64> m_newPhrases; // inserted by this seat: renamed, they keep the marker
};
