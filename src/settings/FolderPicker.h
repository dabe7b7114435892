#pragma once

#include <QString>

class QWidget;

// Asks the user for a folder. The settings window holds a picker instead of calling the system
// dialog itself, so tests hand it a folder without showing a window.
class FolderPicker {
public:
    virtual ~FolderPicker() = default;

    // The chosen folder; empty when the user cancelled.
    virtual QString chooseFolder(QWidget* parent, const QString& prompt, const QString& start) = 0;
};

// The system's folder dialog.
class SystemFolderPicker : public FolderPicker {
public:
    QString chooseFolder(QWidget* parent, const QString& prompt, const QString& start) override;
};
