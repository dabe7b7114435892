#include "maintenance/MaintenanceFilePicker.h"

#include <QDir>
#include <QFileDialog>

namespace {

QString backupFilter()
{
    return QStringLiteral("备份文件 (*.bak)");
}

QString saveFile(QWidget* parent, const QString& filter, const QString& suffix,
                 const QString& folder, const QString& proposed, bool confirmOverwrite)
{
    QFileDialog dialog(parent, QStringLiteral("选择文件保存位置"), folder, filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(suffix);
    dialog.setOption(QFileDialog::DontConfirmOverwrite, !confirmOverwrite);
    dialog.selectFile(QDir(folder).filePath(proposed));
    return dialog.exec() == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
}

} // namespace

QString SystemMaintenanceFilePicker::saveBackup(QWidget* parent, const QString& folder,
                                                const QString& proposed)
{
    return saveFile(parent, backupFilter(), QStringLiteral("bak"), folder, proposed, false);
}

QString SystemMaintenanceFilePicker::openBackup(QWidget* parent, const QString& folder)
{
    return QFileDialog::getOpenFileName(parent, QStringLiteral("选择备份文件"), folder,
                                        backupFilter());
}

QString SystemMaintenanceFilePicker::saveWorkbook(QWidget* parent, const QString& folder,
                                                  const QString& proposed)
{
    return saveFile(parent, QStringLiteral("Excel文件 (*.xlsx)"), QStringLiteral("xlsx"), folder,
                    proposed, true);
}

QString SystemMaintenanceFilePicker::openWorkbook(QWidget* parent, const QString& folder)
{
    // Both formats under one entry first: a workbook is found whichever it is.
    return QFileDialog::getOpenFileName(
        parent, QStringLiteral("选择Excel文件"), folder,
        QStringLiteral("Excel文件 (*.xls *.xlsx);;Excel文件 (*.xls);;Excel文件 (*.xlsx)"));
}
