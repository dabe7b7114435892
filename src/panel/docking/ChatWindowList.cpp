#include "panel/docking/ChatWindowList.h"

#include "data/Settings.h"

namespace {

constexpr QLatin1String qqClass("TXGuiFoundation");
constexpr QLatin1String weixinClass("WeChatMainWndForPC");
constexpr QLatin1String qiyeweixinClass("WeWorkWindow");
constexpr QLatin1String standardFrameClass("StandardFrame");
constexpr QLatin1String dingdingClass("StandardFrame_DingTalk");
constexpr QLatin1String baiduClass("BaseGui");

// The QQ windows that are not conversations; a title found anywhere in this text is not a chat.
QString qqRecord()
{
    return QString(qqClass) +
           QStringLiteral("|QQ,勋章墙,系统设置,查找,游戏中心,腾讯视频,应用管理器,QQ音乐,"
                          "个性装扮,我的钱包,我的购物,腾讯网迷你版,大众点评,界面管理器,我的资料,"
                          "举报,验证消息,提示,下线通知,图片查看,添加群");
}

QString appendedRecord(QLatin1String className, const QString& titlePart)
{
    return QLatin1Char('@') + QString(className) + QLatin1Char('|') + titlePart;
}

ChatWindowList::Match chatOf(const char* kind)
{
    return {true, QString::fromLatin1(kind)};
}

// "a - b" titles: the first two pieces of the title split at "-", both trimmed.
struct DashPieces {
    bool twoOrMore = false;
    QString first;
    QString second;
};

DashPieces dashPieces(const QString& title)
{
    const QStringList pieces = title.split(QLatin1Char('-'));
    if (pieces.size() < 2)
        return {};
    return {true, pieces.at(0).trimmed(), pieces.at(1).trimmed()};
}

} // namespace

QString ChatWindowList::Match::text() const
{
    return (chat ? QStringLiteral("1,") : QStringLiteral("0,")) + kind;
}

QString ChatWindowList::emptyKind()
{
    return QStringLiteral("empty");
}

QString ChatWindowList::customKind()
{
    return QStringLiteral("custom");
}

void ChatWindowList::rebuild(const Settings& settings)
{
    if (settings.flag(Setting::XiFuQQ))
        m_records = qqRecord();
    if (settings.flag(Setting::XiFuWeiXin))
        m_records += appendedRecord(weixinClass, QStringLiteral("微信"));
    if (settings.flag(Setting::XiFuQiYeWeiXin))
        m_records += appendedRecord(qiyeweixinClass, QStringLiteral("企业微信"));
    if (settings.flag(Setting::XiFuQianNiu))
        m_records += appendedRecord(standardFrameClass, QStringLiteral("接待中心"));
    if (settings.flag(Setting::XiFuWangWang))
        m_records += appendedRecord(standardFrameClass, QStringLiteral("阿里旺旺"));
    if (settings.flag(Setting::XiFuDingDing))
        m_records += appendedRecord(dingdingClass, QStringLiteral("钉钉"));
    if (settings.flag(Setting::XiFuBaiduShangQiao))
        m_records += appendedRecord(baiduClass, QStringLiteral("百度商桥"));
    setCustomRules(settings.value(Setting::XiFuCustomWindows));
}

void ChatWindowList::setCustomRules(const QString& rules)
{
    m_customRules.clear();
    m_invalidRules.clear();
    for (const QString& raw : rules.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const QString rule = raw.trimmed();
        if (rule.isEmpty())
            continue;
        // Only the first "|" separates: a title pattern may use "|" for alternatives.
        const qsizetype bar = rule.indexOf(QLatin1Char('|'));
        CustomRule parsed;
        parsed.className = (bar < 0 ? rule : rule.first(bar)).trimmed();
        if (bar >= 0)
            parsed.title.setPattern(rule.sliced(bar + 1).trimmed());
        if (parsed.className.isEmpty() || !parsed.title.isValid()) {
            m_invalidRules << rule;
            continue;
        }
        parsed.title.optimize();
        m_customRules << parsed;
    }
}

ChatWindowList::Match ChatWindowList::recognize(const QString& className,
                                                const QString& title) const
{
    if (const Match builtIn = recognizeBuiltIn(className, title); builtIn.chat)
        return builtIn;
    return recognizeCustom(className, title);
}

ChatWindowList::Match ChatWindowList::recognizeBuiltIn(const QString& className,
                                                       const QString& title) const
{
    for (const QString& record : m_records.split(QLatin1Char('@'))) {
        const QStringList parts = record.split(QLatin1Char('|'));
        if (parts.at(0) != className)
            continue;
        const QString titlePart = parts.value(1);
        if (className == qqClass) {
            if (!title.isEmpty() && !titlePart.contains(title))
                return chatOf("qq");
        } else if (className == weixinClass) {
            if (title == titlePart)
                return chatOf("weixin");
        } else if (className == qiyeweixinClass) {
            if (title == titlePart)
                return chatOf("qiyeweixin");
        } else if (className == standardFrameClass) {
            // Both tests use the record in hand, so "name - 阿里旺旺" reached through the
            // 阿里旺旺 record is reported as 千牛. Agents' setups expect exactly that.
            const DashPieces pieces = dashPieces(title);
            if (pieces.twoOrMore && pieces.second == titlePart)
                return chatOf("qianniu");
            if (pieces.twoOrMore && pieces.first == titlePart)
                return chatOf("wangwang");
        } else if (className == dingdingClass) {
            if (title == titlePart)
                return chatOf("dingding");
        } else if (className == baiduClass) {
            const DashPieces pieces = dashPieces(title);
            if (pieces.twoOrMore && pieces.second == titlePart)
                return chatOf("baidushangqiao");
        }
    }
    return {false, emptyKind()};
}

ChatWindowList::Match ChatWindowList::recognizeCustom(const QString& className,
                                                      const QString& title) const
{
    for (const CustomRule& rule : m_customRules) {
        // X11 class names differ in case between versions of the same program.
        if (rule.className.compare(className, Qt::CaseInsensitive) != 0)
            continue;
        if (rule.title.match(title).hasMatch())
            return {true, customKind()};
    }
    return {false, emptyKind()};
}
