#include "app/CommandLine.h"

#include "data/PgUrl.h"
#include "settings/AutoStart.h"

std::optional<SearchMode> CommandLine::modeFromKind(const QString& kind)
{
    if (kind.compare(QLatin1String("common"), Qt::CaseInsensitive) == 0)
        return SearchMode::Common;
    if (kind.size() != 1)
        return std::nullopt;
    const std::optional<SearchKind> k = SearchService::kindFromLetter(kind.at(0));
    if (!k)
        return std::nullopt;
    switch (*k) {
    case SearchKind::Knowledge:
        return SearchMode::Knowledge;
    case SearchKind::Affair:
        return SearchMode::Affairs;
    case SearchKind::Courier:
        return SearchMode::Couriers;
    case SearchKind::Simple:
        return SearchMode::Simple;
    case SearchKind::File:
        return SearchMode::Files;
    case SearchKind::Tool:
        return SearchMode::Tools;
    case SearchKind::Personal:
        return SearchMode::Personal;
    }
    return std::nullopt;
}

QString CommandLine::usage()
{
    return QStringLiteral(
        "用法: quillmate [--data-dir 文件夹] [命令]\n"
        "  (无命令)                 启动客服Tavro\n"
        "  --autostart              启动客服Tavro, 面板留在任务栏通知区域 (开机自动启动时)\n"
        "  init                     准备程序文件夹 (config.ini, assistant.dll, personal.dll, "
        "pylib.dll) 后退出\n"
        "  search 文本 [--kind K]   查询, K 为 W C E S F L P 或 common; 每行: 类型\\t编号\\t名称\n"
        "  backup [--private] [文件]  备份共享数据库 (--private: 私人数据库); 默认文件在 "
        "BackupInitPath 或 backup\\ (私人: BackupInitPathPer 或 pbackup\\) 中\n"
        "  restore [--private] 文件  从备份恢复; 面板运行时不能恢复\n"
        "  compact [--private]      压缩数据库\n"
        "  export [--private] 文件.xlsx  导出到Excel工作簿 (--private: 只导出工具和私人知识库)\n"
        "  import [--private] [--dry-run] 文件  从Excel工作簿 (.xlsx 或 .xls) 导入; --dry-run: "
        "只检查并统计, 不写入\n"
        "  migrate postgresql://用户[:密码]@服务器[:端口]/数据库  把共享数据库复制到一个空的 "
        "PostgreSQL 数据库, 每个表打印一行记录数\n"
        "  --version                显示版本\n"
        "程序文件夹: --data-dir, 否则环境变量 QUILLMATE_HOME, 否则程序旁有 portable 文件时为程序"
        "文件夹, 否则为用户数据文件夹。\n");
}

CommandLine CommandLine::parse(const QStringList& arguments)
{
    CommandLine cl;
    QStringList positional;
    QString kind;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& a = arguments.at(i);
        auto valueOf = [&](const QString& option) -> std::optional<QString> {
            if (a == option) {
                if (i + 1 >= arguments.size()) {
                    cl.error = option + QStringLiteral(" 需要一个值");
                    return std::nullopt;
                }
                return arguments.at(++i);
            }
            if (a.startsWith(option + QLatin1Char('=')))
                return a.mid(option.size() + 1);
            return std::nullopt;
        };
        if (a == QLatin1String("--version") || a == QLatin1String("-v")) {
            cl.command = Command::Version;
            return cl;
        }
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            cl.command = Command::Help;
            return cl;
        }
        if (a == AutoStart::StartedArgument) {
            cl.autoStarted = true;
        } else if (a == QLatin1String("--private")) {
            cl.privateStore = true;
        } else if (a == QLatin1String("--dry-run")) {
            cl.dryRun = true;
        } else if (auto v = valueOf(QStringLiteral("--data-dir"))) {
            cl.dataDir = *v;
        } else if (auto k = valueOf(QStringLiteral("--kind"))) {
            kind = *k;
        } else if (!cl.error.isEmpty()) {
            return cl;
        } else if (a.startsWith(QLatin1String("--")) && a.size() > 2) {
            cl.error = QStringLiteral("未知的选项 ") + a;
            return cl;
        } else {
            positional << a;
        }
    }
    if (!cl.error.isEmpty())
        return cl;

    if (positional.isEmpty()) {
        cl.command = Command::Panel;
    } else if (positional.first() == QLatin1String("init") && positional.size() == 1) {
        cl.command = Command::Init;
    } else if (positional.first() == QLatin1String("search") && positional.size() == 2) {
        cl.command = Command::Search;
        cl.searchText = positional.at(1);
    } else if (positional.first() == QLatin1String("search")) {
        cl.error = QStringLiteral("search 需要一个查询文本");
    } else if (positional.first() == QLatin1String("backup") && positional.size() <= 2) {
        cl.command = Command::Backup;
        cl.file = positional.value(1);
    } else if (positional.first() == QLatin1String("restore") && positional.size() == 2) {
        cl.command = Command::Restore;
        cl.file = positional.at(1);
    } else if (positional.first() == QLatin1String("restore")) {
        cl.error = QStringLiteral("restore 需要一个备份文件");
    } else if (positional.first() == QLatin1String("compact") && positional.size() == 1) {
        cl.command = Command::Compact;
    } else if ((positional.first() == QLatin1String("import") ||
                positional.first() == QLatin1String("export")) &&
               positional.size() == 2) {
        cl.command =
            positional.first() == QLatin1String("import") ? Command::Import : Command::Export;
        cl.file = positional.at(1);
    } else if (positional.first() == QLatin1String("import") ||
               positional.first() == QLatin1String("export")) {
        cl.error = positional.first() + QStringLiteral(" 需要一个Excel文件");
    } else if (positional.first() == QLatin1String("migrate") && positional.size() == 2) {
        // A malformed address is wrong use: refused before the data folder is touched.
        const Result<PgUrl> url = PgUrl::parse(positional.at(1));
        if (url) {
            cl.command = Command::Migrate;
            cl.databaseUrl = positional.at(1);
        } else {
            cl.error = url.message();
        }
    } else if (positional.first() == QLatin1String("migrate")) {
        cl.error = QStringLiteral("migrate 需要一个数据库地址 postgresql://…");
    } else {
        cl.error = QStringLiteral("未知的命令 ") + positional.join(QLatin1Char(' '));
    }
    const bool onStore = cl.command == Command::Backup || cl.command == Command::Restore ||
                         cl.command == Command::Compact || cl.command == Command::Import ||
                         cl.command == Command::Export;
    if (cl.privateStore && !onStore && cl.error.isEmpty())
        cl.error = QStringLiteral("--private 只用于 backup, restore, compact, import, export");
    if (cl.dryRun && cl.command != Command::Import && cl.error.isEmpty())
        cl.error = QStringLiteral("--dry-run 只用于 import");
    if (!kind.isEmpty()) {
        if (cl.command != Command::Search) {
            cl.error = QStringLiteral("--kind 只用于 search");
        } else if (auto mode = modeFromKind(kind)) {
            cl.searchMode = *mode;
        } else {
            cl.error = QStringLiteral("未知的类型 ") + kind;
        }
    }
    return cl;
}
