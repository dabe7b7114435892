#pragma once

#include <QFile>
#include <QList>
#include <QStringList>
#include <QTest>

// The rows of a fixture file under the test's QUILLMATE_FIXTURES folder: fields separated by
// tabs, "\t", "\r" and "\n" written as escapes, blank lines and lines starting with '#' skipped.
// A file that cannot be read fails the running test and gives no rows.
inline QList<QStringList> fixtureRows(const QString& name)
{
    QFile file(QStringLiteral(QUILLMATE_FIXTURES "/") + name);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        QTest::qFail(qPrintable("cannot read the fixture " + name), __FILE__, __LINE__);
        return {};
    }
    QList<QStringList> rows;
    for (const QString& line : QString::fromUtf8(file.readAll()).split('\n')) {
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        QStringList fields = line.split('\t');
        for (QString& field : fields)
            field.replace("\\t", "\t").replace("\\r", "\r").replace("\\n", "\n");
        rows << fields;
    }
    return rows;
}

// The rows of a fixture as the data of a data-driven test: one column "row", each row tagged
// with its first `tagFields` fields.
inline void fixtureData(const QString& name, int tagFields = 1)
{
    QTest::addColumn<QStringList>("row");
    for (const QStringList& row : fixtureRows(name))
        QTest::newRow(qPrintable(row.mid(0, tagFields).join(' '))) << row;
}
