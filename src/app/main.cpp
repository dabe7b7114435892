#include "app/CommandLine.h"
#include "app/ExchangeCommands.h"
#include "app/MigrateCommand.h"
#include "app/SingleInstance.h"
#include "app/Startup.h"
#include "app/StoreCommands.h"
#include "data/SearchService.h"
#include "panel/PanelWindow.h"
#include "platform/DesktopFactory.h"
#include "platform/PlatformPaths.h"
#include "users/LoginWindow.h"
#include "widgets/Dialogs.h"
#include "widgets/FontPreset.h"
#include "widgets/Skin.h"

#include <QApplication>
#include <QDir>
#include <QInputDialog>
#include <QLineEdit>
#include <QTextStream>
#include <memory>

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

// The panel: the windows need a QApplication, which the command-line commands do without.
int runPanel(int argc, char* argv[], const CommandLine& cl)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Quillmate"));
    QApplication::setApplicationVersion(QStringLiteral(QUILLMATE_VERSION));
    QApplication::setQuitOnLastWindowClosed(false);

    // A second panel on the same folder would fight the first over the hot keys and config.ini.
    const DataRoot root = resolveRoot(cl);
    QDir().mkpath(root.folder());
    SingleInstance instance(root.folder());
    switch (instance.claim()) {
    case SingleInstance::Outcome::HandedOver:
        return 0;
    case SingleInstance::Outcome::Failed:
        Dialogs::message(nullptr, instance.message());
        return 1;
    case SingleInstance::Outcome::First:
        break;
    }

    Startup startup(root);
    startup.setPasswordPrompt([](const QString& shown) -> std::optional<QString> {
        bool ok = false;
        const QString password = QInputDialog::getText(
            nullptr, QStringLiteral("连接共享数据库"),
            QStringLiteral("数据库 %1 需要密码：").arg(shown), QLineEdit::Password, QString(), &ok);
        return ok ? std::optional<QString>(password) : std::nullopt;
    });
    const Result<void> started = startup.run();
    Dialogs::configure(started ? &startup.settings() : nullptr, startup.root());
    if (!started) {
        Dialogs::message(nullptr, started.message());
        return 1;
    }
    Skin::apply(app, FontPreset::fromSetting(startup.settings().value(Setting::MainFontSize)));
    for (const QString& warning : startup.warnings())
        Dialogs::message(nullptr, warning);

    const std::optional<CurrentUser> user = LoginWindow::establish(startup.store());
    if (!user)
        return 0;

    std::unique_ptr<Desktop> desktop = createDesktop();
    if (!desktop->isAvailable())
        Dialogs::message(nullptr, desktop->unavailableReason());
    SearchService search(startup.store(), startup.settings());
    const Services services{startup.root(), startup.settings(), startup.store(),
                            search,         *desktop,           *user};
    PanelWindow panel(services);
    QObject::connect(&panel, &PanelWindow::exitConfirmed, &app, &QApplication::quit,
                     Qt::QueuedConnection);
    QObject::connect(&instance, &SingleInstance::showRequested, &panel, &PanelWindow::showPanel);
    if (!cl.autoStarted)
        panel.show();
    panel.startDocking();
    return app.exec();
}

} // namespace

int main(int argc, char* argv[])
{
    // The command decides which kind of application object is made.
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const CommandLine cl = CommandLine::parse(arguments);
    if (cl.command == CommandLine::Command::Panel && cl.error.isEmpty())
        return runPanel(argc, argv, cl);

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Quillmate"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLMATE_VERSION));

    QTextStream out(stdout);
    QTextStream err(stderr);
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
    case CommandLine::Command::Backup:
    case CommandLine::Command::Restore:
    case CommandLine::Command::Compact:
        return StoreCommands::run(startup, cl, out, err);
    case CommandLine::Command::Import:
    case CommandLine::Command::Export:
        return ExchangeCommands::run(startup, cl, out, err);
    case CommandLine::Command::Migrate:
        return MigrateCommand::run(startup, cl, out, err);
    case CommandLine::Command::Init:
        return startup.hasPinyin() ? 0 : 1;
    default:
        return 0;
    }
}
