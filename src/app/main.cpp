#include "CommandLine.h"
#include "PlatformPaths.h"
#include "SearchService.h"
#include "Startup.h"

#include <QCoreApplication>
#include <QDir>
#include <QTextStream>

namespace {

DataRoot resolveRoot(const CommandLine& cl)
{
    DataRoot::Candidates c;
    c.commandLine = cl.dataDir;
    c.environment = qEnvironmentVariable("QUILLMATE_HOME");
    c.executableFolder = QCoreApplication::applicationDirPath();
    c.portable = PlatformPaths::runsPortable(c.executableFolder);
    c.userFolder = PlatformPaths::userDataFolder();
    c.shippedFolders = PlatformPaths::shippedDataFolders(c.executableFolder);
    return DataRoot::resolve(c);
}

// Names are printed on one line each, whatever they hold.
QString oneLine(QString text)
{
    for (QChar& c : text) {
        if (c == u'\t' || c == u'\n' || c == u'\r')
            c = u' ';
    }
    return text;
}

int runSearch(Startup& startup, const CommandLine& cl, QTextStream& out)
{
    SearchService search(startup.store(), startup.settings());
    Result<QList<SearchHit>> hits = search.search(cl.searchText, cl.searchMode);
    if (!hits) {
        QTextStream(stderr) << hits.message() << Qt::endl;
        return 1;
    }
    for (const SearchHit& hit : hits.value())
        out << SearchService::letter(hit.kind) << '\t' << hit.id << '\t'
            << oneLine(search.name(hit)) << '\n';
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Quillmate"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLMATE_VERSION));

    QTextStream out(stdout);
    QTextStream err(stderr);
    const CommandLine cl = CommandLine::parse(QCoreApplication::arguments());
    if (!cl.error.isEmpty()) {
        err << cl.error << "\n\n" << CommandLine::usage();
        return 2;
    }
    switch (cl.command) {
    case CommandLine::Command::Version:
        out << QUILLMATE_VERSION << Qt::endl;
        return 0;
    case CommandLine::Command::Help:
        out << CommandLine::usage();
        return 0;
    default:
        break;
    }

    Startup startup(resolveRoot(cl));
    if (Result<void> r = startup.run(); !r) {
        err << r.message() << Qt::endl;
        return 1;
    }
    for (const QString& warning : startup.warnings())
        err << warning << Qt::endl;

    switch (cl.command) {
    case CommandLine::Command::Search:
        return runSearch(startup, cl, out);
    case CommandLine::Command::Init:
        return 0;
    default:
        out << QStringLiteral("客服Tavro %1：程序文件夹 %2 已就绪。")
                   .arg(QLatin1String(QUILLMATE_VERSION),
                        QDir::toNativeSeparators(startup.root().folder()))
            << Qt::endl;
        return 0;
    }
}
