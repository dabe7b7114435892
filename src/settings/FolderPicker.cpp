#include "settings/FolderPicker.h"

#include <QDir>
#include <QFileDialog>

QString SystemFolderPicker::chooseFolder(QWidget* parent, const QString& prompt,
                                         const QString& start)
{
    return QDir::toNativeSeparators(QFileDialog::getExistingDirectory(parent, prompt, start));
}
