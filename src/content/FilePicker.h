#pragma once

#include <QString>

class QWidget;

// Asks the user for a file to open. Windows hold a picker instead of calling the system dialog
// themselves, so tests hand them a path without showing a window.
class FilePicker {
public:
    virtual ~FilePicker() = default;

    // The chosen path; empty when the user cancelled. `filter` is in the "description|patterns"
    // form, pairs joined by "|", patterns by ";".
    virtual QString openFile(QWidget* parent, const QString& title, const QString& filter) = 0;

    // The same filter as the system dialog expects it: "description (patterns)" joined by ";;".
    static QString dialogFilter(const QString& filter);
};

// The system's open-file dialog.
class SystemFilePicker : public FilePicker {
public:
    QString openFile(QWidget* parent, const QString& title, const QString& filter) override;
};
