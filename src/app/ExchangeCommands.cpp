#include "app/ExchangeCommands.h"

#include "app/Startup.h"
#include "exchange/WorkbookExporter.h"
#include "exchange/WorkbookImporter.h"
#include "exchange/WorkbookReader.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace ExchangeCommands {

int run(Startup& startup, const CommandLine& cl, QTextStream& out, QTextStream& err)
{
    const ExchangeScope scope =
        cl.privateStore ? ExchangeScope::Private : ExchangeScope::Everything;
    if (cl.command == CommandLine::Command::Export) {
        const Result<ExportReport> done = WorkbookExporter(startup.store(), scope).run(cl.file);
        if (!done) {
            err << done.message() << Qt::endl;
            return 1;
        }
        out << done->message() << u" "_s << QDir::toNativeSeparators(cl.file) << Qt::endl;
        return 0;
    }

    Result<std::unique_ptr<WorkbookReader>> book = WorkbookReader::open(cl.file);
    if (!book) {
        err << book.message() << Qt::endl;
        return 1;
    }
    WorkbookImporter importer(startup.store(), scope);
    const Result<ImportReport> report =
        cl.dryRun ? importer.preview(*book.value()) : importer.run(*book.value());
    if (!report) {
        err << report.message() << Qt::endl;
        return 1;
    }
    if (!report->problems.isEmpty()) {
        for (const QString& line : report->problems)
            err << line << '\n';
        err << u"没有导入任何记录。"_s << Qt::endl;
        return 1;
    }
    out << (cl.dryRun ? report->previewText() : report->countsMessage()) << Qt::endl;
    return 0;
}

} // namespace ExchangeCommands
