#include "StubChatProcess.h"

#include <QFile>
#include <QJsonDocument>
#include <QTest>

bool xdotool(const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start("xdotool", arguments);
    return process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

QString StubChatProcess::toolkitName(Toolkit toolkit)
{
    switch (toolkit) {
    case Toolkit::Qt:
        return QStringLiteral("Qt");
    case Toolkit::Gtk:
        return QStringLiteral("Gtk");
    case Toolkit::Chromium:
        return QStringLiteral("Chromium");
    }
    return {};
}

StubChatProcess::StubChatProcess(QString className, QString title, QRect geometry, Toolkit toolkit)
    : m_className(std::move(className)), m_title(std::move(title)), m_geometry(geometry),
      m_toolkit(toolkit), m_logPath(m_dir.filePath("events.jsonl"))
{
    m_process.setProcessChannelMode(QProcess::ForwardedChannels);
}

StubChatProcess::~StubChatProcess()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    // The Chromium launcher ends the browser and its helpers first, which can take seconds.
    m_process.terminate();
    if (!m_process.waitForFinished(10000))
        m_process.kill();
    m_process.waitForFinished(5000);
}

bool StubChatProcess::start(int timeoutMs)
{
    QString program;
    QStringList arguments;
    switch (m_toolkit) {
    case Toolkit::Qt:
        program = QStringLiteral(QUILLMATE_STUB_CHAT);
        break;
    case Toolkit::Gtk:
        program = QStringLiteral(QUILLMATE_PYTHON3);
        arguments << QStringLiteral(QUILLMATE_GTK_CHAT);
        break;
    case Toolkit::Chromium:
        program = QStringLiteral(QUILLMATE_PYTHON3);
        arguments << QStringLiteral(QUILLMATE_CHROMIUM_CHAT);
        break;
    }
    if (timeoutMs < 0)
        timeoutMs = m_toolkit == Toolkit::Chromium ? 30000 : 10000;
    arguments << "--class" << m_className << "--title" << m_title << "--log" << m_logPath;
    if (m_geometry.isValid()) {
        arguments << "--geometry"
                  << QString("%1x%2+%3+%4")
                         .arg(m_geometry.width())
                         .arg(m_geometry.height())
                         .arg(m_geometry.x())
                         .arg(m_geometry.y());
    }
    m_process.start(program, arguments);
    if (!m_process.waitForStarted(timeoutMs))
        return false;
    const bool ready = QTest::qWaitFor(
        [this] { return !events("ready").isEmpty() || m_process.state() == QProcess::NotRunning; },
        timeoutMs);
    const QList<QJsonObject> readyEvents = events("ready");
    if (!ready || readyEvents.isEmpty())
        return false;
    m_window = static_cast<quint64>(readyEvents.first().value("window").toInteger());
    // Only the Chromium launcher names another process: the browser's.
    m_windowProcessId = readyEvents.first().value("pid").toInteger(m_process.processId());
    return m_window != 0;
}

bool StubChatProcess::stop(int timeoutMs)
{
    if (m_process.state() == QProcess::NotRunning)
        return true;
    m_process.terminate();
    return QTest::qWaitFor([this] { return m_process.state() == QProcess::NotRunning; }, timeoutMs);
}

QList<QJsonObject> StubChatProcess::events(const QString& name) const
{
    QFile file(m_logPath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<QJsonObject> result;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine();
        // A line still being written has no newline yet; it is read next time.
        if (!line.endsWith('\n'))
            break;
        const QJsonObject event = QJsonDocument::fromJson(line).object();
        if (name.isEmpty() || event.value("event").toString() == name)
            result << event;
    }
    return result;
}

QString StubChatProcess::text() const
{
    const QList<QJsonObject> texts = events("text");
    return texts.isEmpty() ? QString() : texts.last().value("text").toString();
}

void StubChatProcess::command(const QString& line)
{
    m_process.write(line.toUtf8() + '\n');
    m_process.waitForBytesWritten(5000);
}
