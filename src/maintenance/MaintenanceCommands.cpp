#include "maintenance/MaintenanceCommands.h"

#include "data/Settings.h"
#include "data/Store.h"
#include "data/StoreMaintenance.h"
#include "exchange/WorkbookExporter.h"
#include "exchange/WorkbookImporter.h"
#include "exchange/WorkbookReader.h"
#include "maintenance/CompactWindow.h"
#include "maintenance/CustomSortWindow.h"
#include "maintenance/ProgressWindow.h"
#include "widgets/Dialogs.h"

#include <QMenu>

using namespace Qt::StringLiterals;

MaintenanceCommands::MaintenanceCommands(const Services& services, QWidget* owner)
    : QObject(owner), m_services(services), m_owner(owner)
{}

QString MaintenanceCommands::folder(StoreId kind) const
{
    return StoreMaintenance::initialFolder(
        m_services.root.folder(), kind,
        m_services.settings.value(StoreMaintenance::folderSetting(kind)));
}

void MaintenanceCommands::addStoreCommands(QMenu* menu, StoreId kind, bool allowed)
{
    const bool shared = kind == StoreId::Assistant;
    const QString suffix = shared ? QString() : u"Per"_s;
    const QString what = shared ? u"数据库"_s : u"私人数据库"_s;
    auto add = [&](const QString& name, const QString& caption, auto slot) {
        QAction* action = menu->addAction(caption);
        action->setObjectName(name + suffix);
        action->setEnabled(allowed);
        connect(action, &QAction::triggered, this, [this, kind, slot] { (this->*slot)(kind); });
    };
    add(u"mnuAboutBackup"_s, u"备份"_s + what, &MaintenanceCommands::backup);
    add(u"mnuAboutRestore"_s, u"恢复"_s + what, &MaintenanceCommands::restore);
    add(u"mnuCompact"_s, u"压缩"_s + what, &MaintenanceCommands::openCompaction);
}

bool MaintenanceCommands::backup(StoreId kind)
{
    const QString target =
        m_picker->saveBackup(m_owner, folder(kind), StoreMaintenance::backupName(kind));
    if (target.isEmpty())
        return false;
    const StoreMaintenance work =
        StoreMaintenance::forStore(m_services.store, kind, StoreMaintenance::Work::BackupRestore);
    ProgressWindow window(u"备份"_s, u"数据备份中......"_s, m_owner);
    Result<void> done;
    window.runElsewhere([&](const Progress& progress) { done = work.backup(target, progress); });
    if (!done) {
        Dialogs::message(m_owner,
                         window.cancelled() ? u"备份已取消，没有写入备份文件。"_s : done.message());
        return false;
    }
    Dialogs::message(m_owner, u"备份成功!"_s);
    return true;
}

bool MaintenanceCommands::restore(StoreId kind)
{
    const QString file = m_picker->openBackup(m_owner, folder(kind));
    if (file.isEmpty())
        return false;
    const StoreMaintenance work =
        StoreMaintenance::forStore(m_services.store, kind, StoreMaintenance::Work::BackupRestore);
    if (const Result<QString> r = work.restore(file, folder(kind)); !r) {
        Dialogs::message(m_owner, r.message());
        return false;
    }
    Dialogs::message(m_owner, u"恢复成功,请重新启动软件!"_s);
    emit restartRequired();
    return true;
}

void MaintenanceCommands::openCompaction(StoreId kind)
{
    CompactWindow window(
        StoreMaintenance::forStore(m_services.store, kind, StoreMaintenance::Work::Compaction),
        kind, m_owner);
    window.exec();
}

void MaintenanceCommands::addCustomSort(QMenu* menu, bool allowed)
{
    QAction* action = menu->addAction(u"自定义排序"_s);
    action->setObjectName(u"mnuCustomSort"_s);
    action->setEnabled(allowed);
    connect(action, &QAction::triggered, this, &MaintenanceCommands::openCustomSort);
}

void MaintenanceCommands::openCustomSort()
{
    CustomSortWindow window(m_services.store, m_services.settings, m_owner);
    window.exec();
}

void MaintenanceCommands::addWorkbookCommands(QMenu* menu, ExchangeScope scope, bool allowed)
{
    const bool everything = scope == ExchangeScope::Everything;
    auto add = [&](const QString& name, const QString& caption, auto slot) {
        QAction* action = menu->addAction(caption);
        action->setObjectName(name);
        action->setEnabled(allowed);
        connect(action, &QAction::triggered, this, [this, scope, slot] { (this->*slot)(scope); });
    };
    add(everything ? u"mnuManageImport"_s : u"mnuAboutImportPer"_s,
        everything ? u"从Excel导入"_s : u"从Excel导入私人数据"_s,
        &MaintenanceCommands::importWorkbook);
    add(everything ? u"mnuManageExport"_s : u"mnuAboutExportPer"_s,
        everything ? u"导出到Excel"_s : u"私人数据导出到Excel"_s,
        &MaintenanceCommands::exportWorkbook);
}

bool MaintenanceCommands::importWorkbook(ExchangeScope scope)
{
    const StoreId kind = scope == ExchangeScope::Private ? StoreId::Personal : StoreId::Assistant;
    const QString file = m_picker->openWorkbook(m_owner, folder(kind));
    if (file.isEmpty())
        return false;
    Result<std::unique_ptr<WorkbookReader>> book = WorkbookReader::open(file);
    if (!book) {
        Dialogs::message(m_owner, book.message());
        return false;
    }
    WorkbookImporter importer(m_services.store, scope);
    Result<ImportReport> report = ImportReport{};
    {
        ProgressWindow window(u"导入"_s, u"文件检查中..."_s, m_owner);
        report = importer.preview(*book.value(), window.progress());
        if (window.cancelled())
            return false;
    }
    if (!report) {
        Dialogs::message(m_owner, report.message());
        return false;
    }
    if (!report->problems.isEmpty()) {
        Dialogs::message(m_owner, report->problemsText() + u"\r\n\r\n没有导入任何记录。"_s);
        return false;
    }
    if (report->added() == 0) {
        Dialogs::message(m_owner, report->previewText() + u"\r\n\r\n没有要导入的新记录。"_s);
        return false;
    }
    if (!Dialogs::askYesNo(m_owner, report->previewText() + u"\r\n\r\n确定要导入吗?"_s))
        return false;
    {
        ProgressWindow window(u"导入"_s, u"数据导入中......"_s, m_owner);
        report = importer.run(*book.value(), window.progress());
    }
    if (!report) {
        Dialogs::message(m_owner, report.message());
        return false;
    }
    if (report->cancelled) {
        Dialogs::message(m_owner, u"导入已取消，没有写入任何记录。"_s);
        return false;
    }
    Dialogs::message(m_owner, report->countsMessage());
    return true;
}

bool MaintenanceCommands::exportWorkbook(ExchangeScope scope)
{
    const StoreId kind = scope == ExchangeScope::Private ? StoreId::Personal : StoreId::Assistant;
    QString proposed = StoreMaintenance::backupName(kind);
    proposed.replace(u".bak"_s, u".xlsx"_s);
    const QString target = m_picker->saveWorkbook(m_owner, folder(kind), proposed);
    if (target.isEmpty())
        return false;
    Result<ExportReport> done = ExportReport{};
    {
        ProgressWindow window(u"导出"_s, u"数据导出中......"_s, m_owner);
        done = WorkbookExporter(m_services.store, scope).run(target, window.progress());
    }
    if (!done) {
        Dialogs::message(m_owner, done.message());
        return false;
    }
    if (done->cancelled) {
        Dialogs::message(m_owner, u"导出已取消，没有写入文件。"_s);
        return false;
    }
    Dialogs::message(m_owner, done->message());
    return true;
}
