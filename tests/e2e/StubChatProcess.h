#pragma once

#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QRect>
#include <QString>
#include <QTemporaryDir>

// Runs xdotool, which plays the user at keyboard and mouse; true when it succeeded.
bool xdotool(const QStringList& arguments);

// One stand-in chat window for an end-to-end test: started, waited for until the window manager
// has mapped it, and its event log read back (see stub_chat.cpp for the events). The process is
// ended when the object goes.
class StubChatProcess {
public:
    // What the window is made with: Qt (stub_chat), GTK (stand-ins/gtk_chat.py) or Chromium
    // (stand-ins/chromium_chat.py), each pasting as that toolkit does. Qt and Chromium hold the
    // keys that follow Ctrl+V until the clipboard has answered (Chromium only for a few seconds);
    // GTK does not, so an Enter right behind Ctrl+V can come before the text. Only stub_chat logs
    // "paste" events.
    enum class Toolkit { Qt, Gtk, Chromium };
    static QString toolkitName(Toolkit toolkit);

    StubChatProcess(QString className, QString title, QRect geometry = {},
                    Toolkit toolkit = Toolkit::Qt);
    ~StubChatProcess();

    StubChatProcess(const StubChatProcess&) = delete;
    StubChatProcess& operator=(const StubChatProcess&) = delete;

    // Starts the program and waits, spinning the event loop, until its window is shown. Without a
    // time-out, one long enough for the toolkit: Chromium takes seconds on a busy machine.
    bool start(int timeoutMs = -1);
    // Asks it to quit and waits for it.
    bool stop(int timeoutMs = 10000);

    quint64 window() const { return m_window; }
    QString className() const { return m_className; }
    QString title() const { return m_title; }
    QRect geometry() const { return m_geometry; }
    // The process that owns the window, as its _NET_WM_PID says; known once started.
    qint64 windowProcessId() const { return m_windowProcessId; }

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
    Toolkit m_toolkit;
    QTemporaryDir m_dir;
    QString m_logPath;
    QProcess m_process;
    quint64 m_window = 0;
    qint64 m_windowProcessId = 0;
};
