// Writes one of the program's files on a disk that is full after LIMIT bytes: the process may not
// grow any file past LIMIT (RLIMIT_FSIZE), and with SIGXFSZ ignored the write that would fails
// with EFBIG, as it fails with ENOSPC on a full disk. Prints the outcome's message; exits 0 when
// the write reported success, 1 when it reported a failure.
// Usage: filefaults_writer LIMIT ini CONFIG
//        filefaults_writer LIMIT ensure CONFIG
//        filefaults_writer LIMIT cache ROOT ID NAME EXT SIZE
//        filefaults_writer LIMIT export ROOT PATH SIZE
#include "content/ContentFiles.h"
#include "data/Settings.h"
#include "send/ContentCache.h"

#include <QCoreApplication>
#include <QTextStream>
#include <csignal>
#include <optional>
#include <sys/resource.h>

namespace {

QByteArray content(const QString& size)
{
    return QByteArray(size.toInt(), 'x');
}

// Nothing for arguments it does not know, so that a mistyped call never passes for a failure.
std::optional<Result<void>> run(const QStringList& args)
{
    const QString& what = args.at(2);
    if (what == QLatin1String("ini") && args.size() == 4) {
        Settings settings(args.at(3));
        if (Result<void> loaded = settings.load(); !loaded)
            return loaded;
        return settings.setValue(Setting::StartTop, QStringLiteral("0"));
    }
    if (what == QLatin1String("ensure") && args.size() == 4)
        return Settings::ensureFile(args.at(3));
    if (what == QLatin1String("cache") && args.size() == 8) {
        const QByteArray bytes = content(args.at(7));
        const Result<std::optional<QString>> placed =
            ContentCache(args.at(3)).file(args.at(4).toLongLong(), args.at(5), args.at(6), [&] {
                return Result<std::optional<QByteArray>>(std::optional<QByteArray>(bytes));
            });
        if (!placed)
            return Result<void>(placed.error());
        return Result<void>();
    }
    if (what == QLatin1String("export") && args.size() == 6)
        return ContentFiles(args.at(3)).write(args.at(4), content(args.at(5)));
    return std::nullopt;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    if (args.size() < 3)
        return 2;
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0)
        return 2;
    limit.rlim_cur = static_cast<rlim_t>(args.at(1).toLongLong());
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
        return 2;
    const std::optional<Result<void>> result = run(args);
    if (!result)
        return 2;
    QTextStream(stdout) << result->message() << Qt::flush;
    return *result ? 0 : 1;
}
