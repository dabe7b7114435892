#include "data/PgUrl.h"

#include <QRegularExpression>
#include <QStringList>
#include <algorithm>
#include <optional>

namespace {

const QStringList& schemes()
{
    static const QStringList all = {QStringLiteral("postgresql://"), QStringLiteral("postgres://")};
    return all;
}

qsizetype schemeLength(const QString& text)
{
    for (const QString& s : schemes()) {
        if (text.startsWith(s, Qt::CaseInsensitive))
            return s.size();
    }
    return 0;
}

// The text with any password replaced, so that a refused address can be printed. The last `@`
// is taken even past the first `/`: an unencoded `/` in a password must not reveal the rest.
QString masked(const QString& text)
{
    // Any scheme: a mistyped one must not reveal the password either.
    const qsizetype scheme = text.indexOf(QLatin1String("://"));
    if (scheme < 0)
        return text;
    const qsizetype start = scheme + 3;
    const qsizetype at = text.lastIndexOf(QLatin1Char('@'));
    const qsizetype colon = text.indexOf(QLatin1Char(':'), start);
    if (at < start || colon < 0 || colon > at)
        return text;
    return text.left(colon + 1) + QStringLiteral("***") + text.mid(at);
}

// %XX sequences are bytes of UTF-8; a lone or short % is refused rather than guessed at.
std::optional<QString> percentDecoded(const QString& part)
{
    static const QRegularExpression stray(QStringLiteral("%(?![0-9A-Fa-f]{2})"));
    if (part.contains(stray))
        return std::nullopt;
    return QString::fromUtf8(QByteArray::fromPercentEncoding(part.toUtf8()));
}

} // namespace

Result<PgUrl> PgUrl::parse(const QString& input)
{
    const QString text = input.trimmed();
    auto invalid = [&](const QString& why) {
        return Error{QStringLiteral("数据库地址 %1 无效：%2").arg(masked(text), why)};
    };
    const qsizetype start = schemeLength(text);
    if (start == 0)
        return invalid(QStringLiteral("应以 postgresql:// 或 postgres:// 开头"));
    if (text.contains(QLatin1Char('?')) || text.contains(QLatin1Char('#')))
        return invalid(QStringLiteral("不支持 ? 或 # 之后的参数"));

    const qsizetype slash = text.indexOf(QLatin1Char('/'), start);
    if (slash < 0)
        return invalid(QStringLiteral("缺少数据库名（地址应以 /数据库名 结尾）"));
    const QString authority = text.mid(start, slash - start);
    const QString databasePart = text.mid(slash + 1);

    const qsizetype at = authority.lastIndexOf(QLatin1Char('@'));
    if (at < 0)
        return invalid(QStringLiteral("缺少用户名（应写成 用户名@服务器）"));
    const QString userInfo = authority.left(at);
    const QString hostPort = authority.mid(at + 1);

    PgUrl url;
    const qsizetype colon = userInfo.indexOf(QLatin1Char(':'));
    const std::optional<QString> user = percentDecoded(userInfo.left(colon));
    const std::optional<QString> password =
        colon < 0 ? std::optional<QString>(QString()) : percentDecoded(userInfo.mid(colon + 1));
    const std::optional<QString> database = percentDecoded(databasePart);
    if (!user || !password || !database)
        return invalid(QStringLiteral("% 之后应是两位十六进制数"));
    if (user->isEmpty())
        return invalid(QStringLiteral("缺少用户名"));
    if (database->isEmpty())
        return invalid(QStringLiteral("缺少数据库名"));
    if (databasePart.contains(QLatin1Char('/')))
        return invalid(QStringLiteral("数据库名之后不应再有 /"));
    url.user = *user;
    url.password = *password;
    url.database = *database;

    QString portText;
    if (hostPort.startsWith(QLatin1Char('['))) {
        const qsizetype close = hostPort.indexOf(QLatin1Char(']'));
        if (close < 0)
            return invalid(QStringLiteral("IPv6 地址缺少 ]"));
        url.host = hostPort.mid(1, close - 1);
        const QString after = hostPort.mid(close + 1);
        if (!after.isEmpty() && !after.startsWith(QLatin1Char(':')))
            return invalid(QStringLiteral("] 之后只能是 :端口"));
        portText = after.mid(1);
        if (after.startsWith(QLatin1Char(':')) && portText.isEmpty())
            return invalid(QStringLiteral("冒号之后缺少端口"));
    } else {
        const qsizetype portColon = hostPort.indexOf(QLatin1Char(':'));
        url.host = hostPort.left(portColon);
        if (portColon >= 0) {
            portText = hostPort.mid(portColon + 1);
            if (portText.isEmpty())
                return invalid(QStringLiteral("冒号之后缺少端口"));
        }
        const std::optional<QString> host = percentDecoded(url.host);
        if (!host)
            return invalid(QStringLiteral("% 之后应是两位十六进制数"));
        url.host = *host;
    }
    if (url.host.isEmpty())
        return invalid(QStringLiteral("缺少服务器地址"));
    if (!portText.isEmpty()) {
        bool ok = false;
        const int port = portText.toInt(&ok);
        const bool digitsOnly = std::all_of(portText.cbegin(), portText.cend(),
                                            [](QChar c) { return c >= u'0' && c <= u'9'; });
        if (!ok || !digitsOnly || port < 1 || port > 65535)
            return invalid(QStringLiteral("端口 %1 应是 1 到 65535 之间的数").arg(portText));
        url.port = port;
    }
    return url;
}

QString PgUrl::shown() const
{
    const QString server =
        host.contains(QLatin1Char(':')) ? QLatin1Char('[') + host + QLatin1Char(']') : host;
    return QStringLiteral("postgresql://%1@%2:%3/%4").arg(user, server).arg(port).arg(database);
}

void PgUrl::applyTo(QSqlDatabase& db) const
{
    db.setHostName(host);
    db.setPort(port);
    db.setDatabaseName(database);
    db.setUserName(user);
    if (!password.isEmpty())
        db.setPassword(password);
    // A server that does not answer should not hang a command for minutes.
    db.setConnectOptions(QStringLiteral("connect_timeout=10"));
}
