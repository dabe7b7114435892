#include "content/FilePicker.h"

#include <QFileDialog>
#include <QStringList>

using namespace Qt::StringLiterals;

QString FilePicker::dialogFilter(const QString& filter)
{
    const QStringList parts = filter.split(u'|');
    QStringList out;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        QString patterns = parts.at(i + 1);
        patterns.replace(u';', u' ');
        out << parts.at(i) + u" ("_s + patterns + u')';
    }
    return out.join(u";;"_s);
}

QString SystemFilePicker::openFile(QWidget* parent, const QString& title, const QString& filter)
{
    return QFileDialog::getOpenFileName(parent, title, QString(), dialogFilter(filter));
}
