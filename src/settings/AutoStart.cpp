#include "settings/AutoStart.h"

#include "data/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

namespace {

#ifdef Q_OS_WIN
constexpr auto RunKey = "HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr auto RunValue = "Quillmate";
#endif

// An argument of an Exec line: quoted, with the characters the quotes do not protect escaped.
QString quoted(const QString& argument)
{
    QString out = QStringLiteral("\"");
    for (QChar c : argument) {
        if (c == u'"' || c == u'`' || c == u'$' || c == u'\\')
            out += u'\\';
        out += c;
    }
    return out + u'"';
}

} // namespace

AutoStart::AutoStart(QString program, QString dataFolder)
    : m_program(std::move(program)), m_dataFolder(std::move(dataFolder))
{}

QString AutoStart::linuxEntryPath()
{
    return QDir(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation))
        .filePath(QStringLiteral("autostart/quillmate.desktop"));
}

QString AutoStart::execLine() const
{
    // '%' starts a field code in an Exec line and is doubled to stand for itself.
    auto exec = [](const QString& argument) {
        return quoted(argument).replace(u'%', QStringLiteral("%%"));
    };
    return exec(QDir::toNativeSeparators(m_program)) + QStringLiteral(" --data-dir ") +
           exec(QDir::toNativeSeparators(m_dataFolder)) + u' ' + StartedArgument;
}

bool AutoStart::isEnabled() const
{
#ifdef Q_OS_WIN
    return QSettings(QLatin1String(RunKey), QSettings::NativeFormat).contains(RunValue);
#else
    return QFile::exists(linuxEntryPath());
#endif
}

Result<void> AutoStart::setEnabled(bool on)
{
#ifdef Q_OS_WIN
    QSettings run(QLatin1String(RunKey), QSettings::NativeFormat);
    if (on)
        run.setValue(RunValue, execLine());
    else
        run.remove(RunValue);
    run.sync();
    if (run.status() != QSettings::NoError)
        return Error{QStringLiteral("无法修改开机自动启动的设置。")};
    return {};
#else
    const QString path = linuxEntryPath();
    if (!on) {
        if (QFile::exists(path) && !QFile::remove(path))
            return Error{QStringLiteral("无法删除开机自动启动项 ") + path};
        return {};
    }
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return Error{QStringLiteral("无法建立文件夹 ") + QFileInfo(path).absolutePath()};
    const QString entry = QStringLiteral("[Desktop Entry]\n"
                                         "Type=Application\n"
                                         "Name=客服Tavro\n"
                                         "GenericName=Customer service assistant\n"
                                         "Exec=%1\n"
                                         "Icon=quillmate\n"
                                         "Terminal=false\n"
                                         "X-GNOME-Autostart-enabled=true\n")
                              .arg(execLine());
    return AtomicFile::write(path, entry.toUtf8(), QStringLiteral("开机自动启动项"));
#endif
}
