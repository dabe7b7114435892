// stub_chat --class NAME --title TITLE [--geometry WxH+X+Y] [--log FILE]
//
// Stands in for a chat client in end-to-end tests: one window whose only widget, a text box with
// the focus, receives pastes and typing. What arrives is written to the log as JSON lines and
// flushed at once, so that a test can read it back:
//   {"event":"ready","window":ID}          the window is mapped; ID is its X window
//   {"event":"active","active":BOOL}       the window gained or lost the focus
//   {"event":"text","text":TEXT}           the whole text, after every change
//   {"event":"paste","formats":[...],"text":TEXT,"urls":[...],"image":BOOL}
//   {"event":"enter","ctrl":BOOL,"text":TEXT}   Enter or Ctrl+Enter; the text is left as it is
//   {"event":"quit"}
// Commands on standard input, one a line: "title TEXT", "clear", "quit". SIGTERM quits too.

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QKeyEvent>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QSocketNotifier>
#include <csignal>
#include <cstdio>
#include <functional>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Appends an event to the log, when there is one.
using EventLog = std::function<void(const QJsonObject&)>;

class ChatInput : public QPlainTextEdit {
public:
    explicit ChatInput(EventLog log) : m_log(std::move(log))
    {
        connect(this, &QPlainTextEdit::textChanged, this, [this] {
            m_log({{"event", "text"}, {"text", toPlainText()}});
        });
    }

protected:
    // Pictures and files are logged too, although only text can be shown.
    bool canInsertFromMimeData(const QMimeData* source) const override
    {
        return !source->formats().isEmpty();
    }

    void insertFromMimeData(const QMimeData* source) override
    {
        QJsonArray urls;
        for (const QUrl& url : source->urls())
            urls.append(url.toString());
        m_log({{"event", "paste"},
               {"formats", QJsonArray::fromStringList(source->formats())},
               {"text", source->text()},
               {"urls", urls},
               {"image", source->hasImage()}});
        QPlainTextEdit::insertFromMimeData(source);
    }

    // Enter sends in a chat client; here it is only recorded, with whether Ctrl was held.
    void keyPressEvent(QKeyEvent* event) override
    {
        if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
            m_log({{"event", "enter"},
                   {"ctrl", event->modifiers().testFlag(Qt::ControlModifier)},
                   {"text", toPlainText()}});
            event->accept();
            return;
        }
        QPlainTextEdit::keyPressEvent(event);
    }

    void changeEvent(QEvent* event) override
    {
        if (event->type() == QEvent::ActivationChange)
            m_log({{"event", "active"}, {"active", isActiveWindow()}});
        QPlainTextEdit::changeEvent(event);
    }

    // The first paint follows the first expose: the window manager has mapped the window.
    void paintEvent(QPaintEvent* event) override
    {
        QPlainTextEdit::paintEvent(event);
        if (m_readyLogged)
            return;
        m_readyLogged = true;
        m_log({{"event", "ready"}, {"window", static_cast<qint64>(winId())}});
    }

private:
    EventLog m_log;
    bool m_readyLogged = false;
};

int s_signalPipe[2] = {-1, -1};

void onTerminate(int)
{
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(s_signalPipe[1], &byte, 1);
}

} // namespace

int main(int argc, char** argv)
{
    // Parsed before Qt sees them: Qt on X11 takes -geometry and -title for itself.
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    QCommandLineParser parser;
    const QCommandLineOption className("class", "WM_CLASS class name", "NAME");
    const QCommandLineOption title("title", "window title", "TITLE");
    const QCommandLineOption place("geometry", "size and position of the frame", "WxH+X+Y");
    const QCommandLineOption logPath("log", "file the events are appended to", "FILE");
    parser.addOptions({className, title, place, logPath});
    static const QRegularExpression pattern("^(\\d+)x(\\d+)([+-]\\d+)([+-]\\d+)$");
    const bool parsed = parser.parse(arguments);
    const QRegularExpressionMatch geometry = pattern.match(parser.value(place));
    if (!parsed || !parser.isSet(className) || !parser.isSet(title) ||
        (parser.isSet(place) && !geometry.hasMatch())) {
        std::fprintf(stderr, "usage: stub_chat --class NAME --title TITLE [--geometry WxH+X+Y] "
                             "[--log FILE]\n");
        return 2;
    }
    // The instance part of WM_CLASS comes from RESOURCE_NAME, the class part from the
    // application name; both are NAME, as in the chat clients this stands for.
    qputenv("RESOURCE_NAME", parser.value(className).toLocal8Bit());
    int qtArgc = 1;
    QApplication app(qtArgc, argv);
    QApplication::setApplicationName(parser.value(className));

    QFile file(parser.value(logPath));
    if (parser.isSet(logPath) && !file.open(QIODevice::WriteOnly | QIODevice::Append)) {
        std::fprintf(stderr, "stub_chat: cannot write %s\n", qPrintable(file.fileName()));
        return 1;
    }
    const EventLog log = [&file](const QJsonObject& entry) {
        if (!file.isOpen())
            return;
        file.write(QJsonDocument(entry).toJson(QJsonDocument::Compact) + '\n');
        file.flush();
    };

    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, s_signalPipe) != 0)
        return 1;
    QSocketNotifier terminate(s_signalPipe[0], QSocketNotifier::Read);
    QObject::connect(&terminate, &QSocketNotifier::activated, &app, &QApplication::quit);
    struct sigaction action = {};
    action.sa_handler = onTerminate;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);

    ChatInput input(log);
    input.setWindowTitle(parser.value(title));
    input.resize(parser.isSet(place) ? geometry.captured(1).toInt() : 480,
                 parser.isSet(place) ? geometry.captured(2).toInt() : 360);
    if (parser.isSet(place))
        input.move(geometry.captured(3).toInt(), geometry.captured(4).toInt());

    QSocketNotifier commands(STDIN_FILENO, QSocketNotifier::Read);
    QByteArray pending;
    QObject::connect(&commands, &QSocketNotifier::activated, &app, [&] {
        char buffer[4096];
        const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (count <= 0) {
            commands.setEnabled(false); // no more commands; the window stays
            return;
        }
        pending.append(buffer, count);
        qsizetype end = 0;
        while ((end = pending.indexOf('\n')) >= 0) {
            const QString line = QString::fromUtf8(pending.left(end));
            pending.remove(0, end + 1);
            if (line.startsWith(QLatin1String("title ")))
                input.setWindowTitle(line.mid(6));
            else if (line == QLatin1String("clear"))
                input.clear();
            else if (line == QLatin1String("quit"))
                app.quit();
        }
    });

    input.show();
    input.activateWindow();
    const int result = app.exec();
    log({{"event", "quit"}});
    return result;
}
