#pragma once

#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QRect>
#include <QString>
#include <QTemporaryDir>

// One stub_chat window for an end-to-end test: started, waited for until the window manager has
// mapped it, and its event log read back (see stub_chat.cpp for the events). The process is
// ended when the object goes.
class StubChatProcess {
public:
    StubChatProcess(QString className, QString title, QRect geometry = {});
    ~StubChatProcess();

    StubChatProcess(const StubChatProcess&) = delete;
    StubChatProcess& operator=(const StubChatProcess&) = delete;

    // Starts the program and waits, spinning the event loop, until its window is shown.
    bool start(int timeoutMs = 10000);
    // Asks it to quit and waits for it.
    bool stop(int timeoutMs = 10000);

    quint64 window() const { return m_window; }
    QString className() const { return m_className; }
    QString title() const { return m_title; }
    QRect geometry() const { return m_geometry; }
    qint64 processId() const { return m_process.processId(); }

    // Every event logged so far, oldest first; with a name, only those events.
    QList<QJsonObject> events(const QString& name = {}) const;
    // The text box's content as last logged.
    QString text() const;

    // A line for the stub's command reader: "title TEXT", "clear", "quit".
    void command(const QString& line);

private:
    QString m_className;
    QString m_title;
    QRect m_geometry;
    QTemporaryDir m_dir;
    QString m_logPath;
    QProcess m_process;
    quint64 m_window = 0;
};
