#include "maintenance/MaintenanceCommands.h"

#include "data/Settings.h"
#include "data/Store.h"
#include "data/StoreMaintenance.h"
#include "maintenance/CompactWindow.h"
#include "maintenance/CustomSortWindow.h"
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
        m_picker->saveFile(m_owner, folder(kind), StoreMaintenance::backupName(kind));
    if (target.isEmpty())
        return false;
    const StoreMaintenance work =
        StoreMaintenance::forStore(m_services.store, kind, StoreMaintenance::Work::BackupRestore);
    if (const Result<void> r = work.backup(target); !r) {
        Dialogs::message(m_owner, r.message());
        return false;
    }
    Dialogs::message(m_owner, u"备份成功!"_s);
    return true;
}

bool MaintenanceCommands::restore(StoreId kind)
{
    const QString file = m_picker->openFile(m_owner, folder(kind));
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
