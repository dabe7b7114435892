#include "app/StoreCommands.h"

#include "app/SingleInstance.h"
#include "app/Startup.h"
#include "data/StoreMaintenance.h"

#include <QDir>
#include <QFileInfo>
#include <QLockFile>

namespace {

QString sizeText(qint64 bytes)
{
    return QStringLiteral("%1 KB").arg((bytes + 1023) / 1024);
}

} // namespace

namespace StoreCommands {

int run(Startup& startup, const CommandLine& cl, QTextStream& out, QTextStream& err)
{
    const StoreId kind = cl.privateStore ? StoreId::Personal : StoreId::Assistant;
    const StoreMaintenance work = StoreMaintenance::forStore(
        startup.store(), kind,
        cl.command == CommandLine::Command::Compact ? StoreMaintenance::Work::Compaction
                                                    : StoreMaintenance::Work::BackupRestore);
    const QString root = startup.root().folder();
    const QString folder = StoreMaintenance::initialFolder(
        root, kind, startup.settings().value(StoreMaintenance::folderSetting(kind)));

    if (cl.command == CommandLine::Command::Backup) {
        QString target = cl.file.isEmpty() ? folder : cl.file;
        if (QFileInfo(target).isDir())
            target = QDir(target).filePath(StoreMaintenance::backupName(kind));
        if (Result<void> r = work.backup(target); !r) {
            err << r.message() << Qt::endl;
            return 1;
        }
        out << QStringLiteral("备份成功! %1").arg(QDir::toNativeSeparators(target)) << Qt::endl;
        return 0;
    }

    if (cl.command == CommandLine::Command::Restore) {
        QLockFile lock(SingleInstance::lockPath(root));
        lock.setStaleLockTime(0);
        if (!lock.tryLock(0)) {
            err << QStringLiteral("客服Tavro正在使用程序文件夹 %1，请先退出程序再恢复。")
                       .arg(QDir::toNativeSeparators(root))
                << Qt::endl;
            return 1;
        }
        const Result<QString> safety = work.restore(cl.file, folder);
        if (!safety) {
            err << safety.message() << Qt::endl;
            return 1;
        }
        out << QStringLiteral("恢复成功! 恢复前的数据已备份为 %1")
                   .arg(QDir::toNativeSeparators(safety.value()))
            << Qt::endl;
        return 0;
    }

    const Result<StoreMaintenance::Sizes> sizes = work.compact();
    if (!sizes) {
        err << sizes.message() << Qt::endl;
        return 1;
    }
    out << QStringLiteral("数据压缩完成！ %1 → %2")
               .arg(sizeText(sizes->before), sizeText(sizes->after))
        << Qt::endl;
    return 0;
}

} // namespace StoreCommands
