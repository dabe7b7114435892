#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

// A finished run of a program: its exit code (-1 when it did not end within a minute, -2 when
// it crashed) and what it printed.
struct ProgramRun {
    int code = -1;
    QString out;
    QString err;
};

inline ProgramRun
runProgram(const QString& program, const QStringList& args,
           const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment())
{
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(program, args);
    ProgramRun r;
    if (!p.waitForFinished(60000))
        return r;
    r.code = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -2;
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}
