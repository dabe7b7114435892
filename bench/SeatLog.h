#pragma once

#include "data/Change.h"
#include "data/Result.h"
#include "data/Tables.h"

#include <QFile>
#include <QList>
#include <QString>
#include <QStringList>
#include <vector>

// What one seat of bench_seats did and heard, written by the seat as it goes and read by the
// bench once every seat has ended. One event a line, fields separated by tabs, text
// percent-encoded. Times are microseconds of the steady clock, which on one machine is the same
// clock in every process (CLOCK_MONOTONIC on Linux), so that one seat's commit and another's
// hearing of it can be subtracted.
namespace SeatLog {

qint64 nowUs();

enum class Op { Insert, Update, Bump };

struct Write {
    Op op = Op::Insert;
    Table table = Table::Knowledge;
    qint64 id = 0; // 0 for a failed insert
    qint64 startUs = 0;
    qint64 endUs = 0;
    bool ok = false;
    // The values written, for the check at the end; a column not written is left null.
    QString name;
    QString description;
    QString error;
};

// A changed() signal of the seat's store.
struct Heard {
    Table table = Table::Knowledge;
    qint64 id = 0;
    Change change = Change::Updated;
    qint64 atUs = 0;
};

// A row the seat's search found for the first time.
struct Seen {
    Table table = Table::Knowledge;
    qint64 id = 0;
    qint64 atUs = 0;
};

struct Record {
    QList<Write> writes;
    QList<Heard> heard;
    QList<Seen> seen;
    std::vector<double> searchMs;
    QStringList errors;
    bool ended = false;
};

class Writer {
public:
    explicit Writer(const QString& path);
    bool isOpen() const { return m_file.isOpen(); }
    void write(const Write& w);
    void heard(const Heard& h);
    void seen(const Seen& s);
    void searched(double ms);
    void error(const QString& message);
    // The seat finished its run: a log without this line is of a seat that died.
    void end();

private:
    void line(const QList<QByteArray>& fields);
    QFile m_file;
};

Result<Record> read(const QString& path);

} // namespace SeatLog
