#include "maintenance/BackupFilePicker.h"

#include <QDir>
#include <QFileDialog>

namespace {

QString filter()
{
    return QStringLiteral("备份文件 (*.bak)");
}

} // namespace

QString SystemBackupFilePicker::saveFile(QWidget* parent, const QString& folder,
                                         const QString& proposed)
{
    QFileDialog dialog(parent, QStringLiteral("选择文件保存位置"), folder, filter());
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(QStringLiteral("bak"));
    dialog.setOption(QFileDialog::DontConfirmOverwrite);
    dialog.selectFile(QDir(folder).filePath(proposed));
    return dialog.exec() == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
}

QString SystemBackupFilePicker::openFile(QWidget* parent, const QString& folder)
{
    return QFileDialog::getOpenFileName(parent, QStringLiteral("选择备份文件"), folder, filter());
}
