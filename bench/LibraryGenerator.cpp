#include "LibraryGenerator.h"

#include <QElapsedTimer>
#include <QStringDecoder>
#include <QTextStream>
#include <algorithm>
#include <iterator>

namespace {

using Words = QList<QStringView>;

const QString Author = QStringLiteral("admin");

const Words Products = {
    u"连衣裙",   u"牛仔裤",   u"羽绒服",   u"卫衣",     u"衬衫",     u"运动鞋", u"帆布鞋",
    u"拖鞋",     u"双肩包",   u"行李箱",   u"钱包",     u"围巾",     u"手套",   u"墨镜",
    u"雨伞",     u"保温杯",   u"电饭煲",   u"空气炸锅", u"不粘锅",   u"茶具",   u"咖啡机",
    u"榨汁机",   u"电水壶",   u"微波炉",   u"加湿器",   u"吹风机",   u"剃须刀", u"电动牙刷",
    u"扫地机",   u"净水器",   u"台灯",     u"蓝牙耳机", u"充电宝",   u"数据线", u"手机壳",
    u"钢化膜",   u"智能手表", u"平板支架", u"机械键盘", u"无线鼠标", u"显示器", u"路由器",
    u"移动硬盘", u"儿童书包", u"婴儿推车", u"奶瓶",     u"纸尿裤",   u"积木",   u"瑜伽垫",
    u"跑步机",   u"哑铃",     u"登山包",   u"帐篷",     u"猫粮",     u"狗窝",   u"洗发水",
    u"沐浴露",   u"面霜",     u"防晒霜",   u"口红",     u"四件套",   u"乳胶枕", u"床垫",
    u"窗帘",     u"收纳箱",   u"衣架",     u"花瓶",     u"绿植",     u"茶叶",   u"坚果礼盒",
};

// Product lines: a big category is a product in one of these series.
const Words Series = {u"", u"新品", u"经典款", u"旗舰款"};

// The small categories of every big category.
const Words Aspects = {u"售前咨询", u"物流配送", u"退换货",   u"售后维修", u"安装使用",
                       u"质量问题", u"价格活动", u"发票开具", u"尺码规格", u"常见问题"};

// What customers ask about.
const Words Topics = {
    u"退货",           u"换货",     u"退换货",   u"退款",     u"发货",     u"催发货",   u"发货时间",
    u"保修",           u"保修期",   u"维修",     u"延保",     u"优惠",     u"优惠券",   u"满减",
    u"赠品",           u"价格保护", u"尺码",     u"尺码推荐", u"颜色",     u"色差",     u"快递",
    u"快递查询",       u"物流查询", u"运费",     u"包邮",     u"发票",     u"发票抬头", u"开发票",
    u"电子发票",       u"安装",     u"安装预约", u"使用方法", u"清洗保养", u"充电",     u"配件",
    u"质量问题",       u"破损",     u"漏发",     u"错发",     u"拒收",     u"签收",     u"改地址",
    u"缺货",           u"预售",     u"定制",     u"积分",     u"会员",     u"以旧换新", u"分期付款",
    u"七天无理由退货", u"售后",     u"投诉",     u"催退款",
};

const Words Attributes = {u"黑色",   u"白色",   u"粉色",   u"大号",   u"小号",
                          u"加厚款", u"升级版", u"儿童款", u"男款",   u"女款",
                          u"旗舰版", u"标准版", u"礼盒装", u"冬季款", u"夏季款"};

// %P product, %M model, %T topic, %A attribute, %N a number.
const Words KnowledgeTitles = {
    u"%P%M%T说明",     u"%P%M%T流程", u"%P%T怎么处理",   u"如何申请%P%T",
    u"%P%M%A%T",       u"%P%A%T问题", u"%P%M常见%T问题", u"%T需要多久（%P%M）",
    u"%P%M%T注意事项", u"%A%P%M%T",   u"%P%M支持%T吗",
};

const Words KnowledgeSentences = {
    u"您好，%P支持%T，请在签收后%N天内联系在线客服办理。",
    u"%P的%T需要提供订单号和商品照片，审核通过后%N个工作日内处理完毕。",
    u"温馨提示：%T期间请保留原包装和全部配件，以免影响后续处理。",
    u"如遇%T相关问题，可在订单详情页点击“申请售后”自助提交。",
    u"%P出厂前均经过质检，如收到后发现质量问题，来回运费由我们承担。",
    u"%T的进度可在“我的订单”中查看，一般%N小时内会有专人跟进。",
    u"活动期间购买%P，%T规则以活动页面公示为准。",
    u"偏远地区%T时效可能延长%N天，敬请谅解。",
    u"请勿自行拆修%P，否则将无法享受%T服务。",
    u"%P目前库存充足，下单后%N小时内发出。",
    u"如需开具发票，请在下单时填写发票抬头和税号，电子发票将发送到预留邮箱。",
    u"客服在线时间为每天9:00-23:00，节假日正常服务。",
    u"%P自签收之日起享受%N个月保修，人为损坏不在保修范围内。",
    u"换货商品寄回后，仓库签收%N天内为您重新发出新的%P。",
    u"尺码不合适可以免费换一次，请参考详情页的尺码表选择。",
    u"退款会原路返回到您的支付账户，银行卡一般需要%N个工作日到账。",
};

const Words PhraseOpenings = {u"",         u"亲，",     u"您好，",     u"亲爱的顾客，",
                              u"亲亲，",   u"好的亲，", u"非常抱歉，", u"感谢您的耐心等待，",
                              u"收到亲，", u"在的亲，"};
const Words PhraseBodies = {
    u"您的%P已经安排%T，请留意短信通知",       u"%P的%T需要%N个工作日，请耐心等待",
    u"这边已为您登记%T，稍后会有专员联系您",   u"%P现在下单可以享受%T活动",
    u"麻烦提供一下订单号，这边帮您查询%T进度", u"%P是支持%T的，您放心购买",
    u"关于%P%T的问题，已经反馈给仓库了",       u"%T申请已提交，预计%N小时内审核",
    u"%P的%T可以在订单页面直接操作",           u"这款%P很多顾客问过%T，您可以看一下详情页说明",
    u"%P今天%N点前付款当天就能发出",           u"%T的事情我这边记下了，%N小时内给您答复",
};
const Words PhraseClosings = {u"。",
                              u"哦~",
                              u"！",
                              u"，有问题随时联系我们。",
                              u"，祝您生活愉快！",
                              u"，感谢您的支持！",
                              u"，请问还有其他可以帮您的吗？",
                              u"，给您带来不便非常抱歉。"};
const Words PhraseGroups = {u"售前", u"售中", u"售后", u"活动", u"夜间"};
const Words PhraseKinds = {u"欢迎语", u"结束语", u"催付",   u"物流", u"议价",
                           u"推荐",   u"安抚",   u"退换货", u"发票", u"评价"};

const Words Departments = {u"客服一组", u"客服二组", u"客服三组", u"客服四组", u"客服五组",
                           u"售后组",   u"仓储部",   u"财务部",   u"人事部",   u"运营部",
                           u"质检部",   u"行政部",   u"培训部",   u"夜班组"};
const Words AffairTopics = {u"排班表",   u"放假安排",     u"考勤制度",     u"绩效考核",
                            u"培训通知", u"会议纪要",     u"报销流程",     u"入职指引",
                            u"值班安排", u"交接班规范",   u"话术规范",     u"奖惩通报",
                            u"活动安排", u"系统升级通知", u"新品上线通知", u"服务质量抽查"};
const Words AffairSentences = {
    u"请%D全体同事于本周五前完成%A的确认。",
    u"%A已更新，详细内容见附件，如有疑问请联系%D负责人。",
    u"本月%A与上月相比有调整，请大家仔细阅读。",
    u"各组长请在%N号之前提交本组的%A反馈。",
    u"%D将在下周组织一次%A说明会，请准时参加。",
    u"未按要求执行%A的同事，将按制度处理。",
    u"%A的最新版本请以内部网站公布的为准。",
};

// Couriers are invented: no real company is named.
const Words Couriers = {u"速达快递", u"飞鸿物流",   u"云路速运", u"捷风快运",
                        u"安顺快递", u"千里通物流", u"鸿雁速递", u"星辰快递",
                        u"迅邮速运", u"畅途物流",   u"金马快递", u"远航速运"};
const Words CourierSlugs = {u"suda",    u"feihong",  u"yunlu",  u"jiefeng", u"anshun", u"qianli",
                            u"hongyan", u"xingchen", u"xunyou", u"changtu", u"jinma",  u"yuanhang"};
const Words Cities = {
    u"北京",   u"上海", u"广州", u"深圳", u"杭州", u"南京",     u"苏州",     u"成都",   u"重庆",
    u"武汉",   u"西安", u"长沙", u"郑州", u"济南", u"青岛",     u"天津",     u"沈阳",   u"大连",
    u"厦门",   u"福州", u"合肥", u"南昌", u"昆明", u"贵阳",     u"南宁",     u"海口",   u"太原",
    u"石家庄", u"兰州", u"银川", u"西宁", u"拉萨", u"乌鲁木齐", u"呼和浩特", u"哈尔滨", u"长春"};
const Words Outlets = {u"%N号网点", u"营业部%N", u"分拨中心%N", u"驿站%N", u"第%N服务点"};

struct FileKind {
    QStringView name;
    QStringView extname;
};
const QList<FileKind> FileKinds = {
    {u"说明书", u"pdf"},      {u"保修卡", u"docx"}, {u"安装图解", u"jpg"}, {u"尺码表", u"xlsx"},
    {u"发票申请表", u"docx"}, {u"退货单", u"docx"}, {u"产品图", u"png"},   {u"检测报告", u"pdf"},
    {u"合格证", u"jpg"},      {u"宣传册", u"pdf"},  {u"价目表", u"xlsx"},  {u"售后政策", u"txt"},
    {u"素材包", u"zip"},
};
const Words FileCategories = {u"说明书",   u"表格模板", u"图片素材", u"政策文件",
                              u"合同协议", u"培训资料", u"报价单",   u"其他文件"};

const Words ToolCategories = {u"常用网站", u"订单后台", u"办公软件", u"聊天工具",
                              u"图片处理", u"物流查询", u"数据报表", u"系统工具"};
const Words ToolSystems = {u"订单后台", u"仓储系统", u"会员系统", u"客服工作台",
                           u"物流平台", u"报表中心", u"财务系统", u"商品库"};
const Words ToolFunctions = {u"批量导出", u"订单查询", u"退款审核", u"库存查询", u"运单打印",
                             u"快捷回复", u"截图工具", u"计算器",   u"翻译助手", u"数据看板"};
const Words ToolTitles = {u"%S%F", u"%S%F%N号", u"%F（%S）", u"%S%N%F"};

const Words PrivateCategories = {u"我的笔记", u"常用话术", u"客户备忘", u"工作待办",
                                 u"学习资料", u"个人经验", u"难缠问题", u"其他"};
const Words PrivateTitles = {u"%P%T心得",     u"客户%N%T记录",   u"%P%M%T备忘",
                             u"%T话术整理%N", u"处理%P%T的经验", u"%P%T易错点"};

// Replaces the two-character markers of `pattern` (%P, %T, ...) by `values`, looked up by the
// marker's letter.
QString expand(QStringView pattern, const LibraryGenerator::Fill& values)
{
    QString out;
    out.reserve(pattern.size() + 16);
    for (qsizetype i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == u'%' && i + 1 < pattern.size()) {
            const QChar key = pattern[i + 1];
            const auto it = std::find_if(values.begin(), values.end(),
                                         [key](const auto& v) { return v.first == key; });
            if (it != values.end()) {
                out += it->second;
                ++i;
                continue;
            }
        }
        out += pattern[i];
    }
    return out;
}

QTextStream& progress()
{
    static QTextStream err(stderr);
    return err;
}

} // namespace

QString LibraryGenerator::NameBook::take(const std::function<QString()>& candidate)
{
    QString name;
    for (int attempt = 0; attempt < 20; ++attempt) {
        name = candidate();
        if (fits(name) && !m_taken.contains(name.toLower())) {
            m_taken.insert(name.toLower());
            return name;
        }
    }
    // Crowded: a running number separates the last candidate from its twins.
    QString base = name;
    while (true) {
        const QString suffix = QString::number(++m_counter);
        const QString numbered = base.left(m_max - suffix.size()) + suffix;
        if (numbered.size() < m_min) {
            base += candidate();
            continue;
        }
        if (!m_taken.contains(numbered.toLower())) {
            m_taken.insert(numbered.toLower());
            return numbered;
        }
    }
}

bool LibraryGenerator::NameBook::fits(const QString& name) const
{
    return name.size() >= m_min && name.size() <= m_max;
}

LibraryGenerator::LibraryGenerator(Store& store) : LibraryGenerator(store, Sizes()) {}

LibraryGenerator::LibraryGenerator(Store& store, Sizes sizes, quint32 seed)
    : m_store(store), m_sizes(sizes), m_random(seed)
{}

Result<bool> LibraryGenerator::hasLibrary()
{
    Result<int> n = m_store.count(Table::Knowledge);
    if (!n)
        return n.error();
    return n.value() > 0;
}

Result<bool> LibraryGenerator::fillIfEmpty()
{
    Result<bool> present = hasLibrary();
    if (!present)
        return present.error();
    if (present.value())
        return false;
    if (Result<void> r = fill(); !r)
        return r.error();
    return true;
}

Result<void> LibraryGenerator::fill()
{
    QElapsedTimer timer;
    timer.start();
    for (Result<void> (LibraryGenerator::*step)() :
         {&LibraryGenerator::fillCatalogue, &LibraryGenerator::fillKnowledge,
          &LibraryGenerator::fillPhrases, &LibraryGenerator::fillAffairs,
          &LibraryGenerator::fillCouriers, &LibraryGenerator::fillFiles,
          &LibraryGenerator::fillTools, &LibraryGenerator::fillPrivateNotes}) {
        if (Result<void> r = (this->*step)(); !r)
            return r;
    }
    progress() << "library written in " << QString::number(timer.elapsed() / 1000.0, 'f', 1) << " s"
               << Qt::endl;
    return {};
}

Result<QList<qint64>> LibraryGenerator::insertAll(Table table, int count, const MakeRow& make)
{
    QElapsedTimer timer;
    timer.start();
    QList<qint64> ids;
    ids.reserve(count);
    for (int from = 0; from < count; from += BatchRows) {
        const int to = std::min(count, from + BatchRows);
        Result<void> r = m_store.transaction(Tables::store(table), [&]() -> Result<void> {
            for (int i = from; i < to; ++i) {
                Result<qint64> id = m_store.insert(table, make(i));
                if (!id)
                    return id.error();
                ids.append(id.value());
            }
            return {};
        });
        if (!r)
            return Error{Tables::name(table) + QStringLiteral(": ") + r.message(), r.error().code};
        if (to == count || to % 25000 == 0)
            progress() << "  " << Tables::name(table) << ' ' << to << '/' << count << " rows, "
                       << QString::number(timer.elapsed() / 1000.0, 'f', 1) << " s" << Qt::endl;
    }
    return ids;
}

Result<QList<qint64>> LibraryGenerator::insertCategories(Table table, const QStringList& names,
                                                         int count)
{
    NameBook book(2, 30);
    int next = 0;
    return insertAll(table, count, [&](int i) {
        const QString name = book.take([&] { return names[next++ % names.size()]; });
        return Row{{QStringLiteral("name"), name},
                   {QStringLiteral("serialnum"), i + 1},
                   {QStringLiteral("username"), Author}};
    });
}

QString LibraryGenerator::wideTerm()
{
    if (!m_sizes.wide)
        return {};
    // GB2312's first level: rows B0 to D7 of 94 characters each, the last row ending at F9.
    static const QString level1 = [] {
        QByteArray codes;
        for (int lead = 0xB0; lead <= 0xD7; ++lead) {
            for (int trail = 0xA1; trail <= (lead == 0xD7 ? 0xF9 : 0xFE); ++trail) {
                codes += static_cast<char>(lead);
                codes += static_cast<char>(trail);
            }
        }
        QStringDecoder decode("GB18030");
        return QString(decode(codes));
    }();
    QString term;
    for (int n = 2 + below(2); n > 0; --n)
        term += level1[below(static_cast<int>(level1.size()))];
    return term;
}

QString LibraryGenerator::model()
{
    static constexpr char16_t Letters[] = u"ABCDEFGHJKLMNPQRSTUVWXYZ";
    constexpr int letterCount = static_cast<int>(std::size(Letters)) - 1;
    QString m(QChar(Letters[below(letterCount)]));
    if (chance(30))
        m += QChar(Letters[below(letterCount)]);
    m += QString::number(1 + below(chance(70) ? 99 : 999));
    return m;
}

QString LibraryGenerator::paragraph(const QList<QStringView>& sentences, int minLength,
                                    int maxLength, const Fill& fill, int largestNumber)
{
    const int target = minLength + below(maxLength - minLength + 1);
    QList<int> unused(sentences.size());
    for (int i = 0; i < unused.size(); ++i)
        unused[i] = i;
    QString text;
    while (text.size() < target) {
        // No sentence twice until every one has been said.
        if (unused.isEmpty()) {
            for (int i = 0; i < sentences.size(); ++i)
                unused << i;
        }
        const int sentence = unused.takeAt(below(unused.size()));
        Fill values = fill;
        values.append({u'N', QString::number(1 + below(largestNumber))});
        text += expand(sentences[sentence], values);
    }
    text.truncate(maxLength);
    return text;
}

QByteArray LibraryGenerator::smallFile(const QString& extname, int length)
{
    // The usual magic bytes, so that a viewer opening the file recognises at least its kind.
    QByteArray bytes;
    if (extname == QLatin1String("png"))
        bytes = QByteArray("\x89PNG\r\n\x1a\n", 8);
    else if (extname == QLatin1String("jpg"))
        bytes = QByteArray("\xff\xd8\xff\xe0", 4);
    else if (extname == QLatin1String("pdf"))
        bytes = QByteArray("%PDF-1.4\n");
    else if (extname == QLatin1String("zip") || extname == QLatin1String("docx") ||
             extname == QLatin1String("xlsx"))
        bytes = QByteArray("PK\x03\x04", 4);
    while (bytes.size() < length)
        bytes += static_cast<char>(below(256));
    return bytes;
}

Result<void> LibraryGenerator::fillCatalogue()
{
    progress() << "categories" << Qt::endl;
    NameBook bigNames(2, 30);
    int next = 0;
    // Big category b is about product b % Products.size(); knowledge titles follow it.
    Result<QList<qint64>> big = insertAll(Table::Type, m_sizes.bigCategories, [&](int i) {
        const QString name = bigNames.take([&] {
            const int n = next++;
            return Products[n % Products.size()].toString() +
                   Series[(n / Products.size()) % Series.size()].toString();
        });
        return Row{{QStringLiteral("name"), name},
                   {QStringLiteral("itemid"), 2},
                   {QStringLiteral("serialnum"), i + 1},
                   {QStringLiteral("username"), Author}};
    });
    if (!big)
        return big.error();
    m_bigIds = big.value();

    NameBook smallNames(2, 40);
    Result<QList<qint64>> small =
        insertAll(Table::Goods, m_sizes.bigCategories * m_sizes.smallPerBig, [&](int i) {
            const int b = i / m_sizes.smallPerBig;
            const int a = i % m_sizes.smallPerBig;
            const QString bigName = Products[b % Products.size()].toString() +
                                    Series[(b / Products.size()) % Series.size()].toString();
            const QString name =
                smallNames.take([&] { return bigName + Aspects[a % Aspects.size()].toString(); });
            return Row{{QStringLiteral("name"), name},
                       {QStringLiteral("typeid"), m_bigIds[b]},
                       {QStringLiteral("serialnum"), i + 1},
                       {QStringLiteral("username"), Author}};
        });
    if (!small)
        return small.error();
    m_smallIds = small.value();
    return {};
}

Result<void> LibraryGenerator::fillKnowledge()
{
    progress() << "knowledge" << Qt::endl;
    NameBook names(4, 20);
    int commonSerial = 0;
    Result<QList<qint64>> r = insertAll(Table::Knowledge, m_sizes.knowledge, [&](int i) {
        const int b = below(m_sizes.bigCategories);
        const int s = below(m_sizes.smallPerBig);
        const QString product = Products[b % Products.size()].toString();
        QString topic;
        const QString name = names.take([&] {
            // One draw per statement: the order of a call's arguments is unspecified, and the
            // library must not depend on the compiler.
            topic = pick(Topics);
            const QString title = pick(KnowledgeTitles);
            const QString expanded = expand(
                title, {{u'P', product}, {u'M', model()}, {u'T', topic}, {u'A', pick(Attributes)}});
            return expanded + wideTerm();
        });
        Row row{{QStringLiteral("name"), name},
                {QStringLiteral("description"),
                 paragraph(KnowledgeSentences, 20, 200, {{u'P', product}, {u'T', topic}}, 15)},
                {QStringLiteral("typeid"), m_bigIds[b]},
                {QStringLiteral("goodsid"), m_smallIds[b * m_sizes.smallPerBig + s]},
                {QStringLiteral("serialnum"), i + 1},
                {QStringLiteral("bigserialnum"), i + 1},
                {QStringLiteral("littleserialnum"), i + 1},
                {QStringLiteral("username"), Author}};
        if (chance(2)) {
            row.insert(QStringLiteral("commonflag"), 1);
            row.insert(QStringLiteral("commonserialnum"), ++commonSerial);
        }
        // Use is skewed: most entries are rarely picked, a few very often.
        if (chance(30))
            row.insert(QStringLiteral("usetime"), 1 + below(1 + below(500)));
        if (chance(1)) {
            row.insert(QStringLiteral("extname"), QStringLiteral("png"));
            row.insert(QStringLiteral("pic"), smallFile(QStringLiteral("png"), 200 + below(300)));
        }
        return row;
    });
    if (!r)
        return r.error();
    return {};
}

Result<void> LibraryGenerator::fillPhrases()
{
    progress() << "phrases" << Qt::endl;
    QStringList categoryNames;
    for (QStringView kind : PhraseKinds) {
        for (QStringView group : PhraseGroups)
            categoryNames << group.toString() + kind.toString();
    }
    Result<QList<qint64>> categories =
        insertCategories(Table::SimpleType, categoryNames, m_sizes.phraseCategories);
    if (!categories)
        return categories.error();

    NameBook names(8, 60);
    Result<QList<qint64>> r = insertAll(Table::Simple, m_sizes.phrases, [&](int i) {
        const QString name = names.take([&] {
            const QString opening = pick(PhraseOpenings);
            const QString body = pick(PhraseBodies);
            QString phrase = opening + expand(body, {{u'P', pick(Products)},
                                                     {u'T', pick(Topics)},
                                                     {u'N', QString::number(1 + below(48))}});
            phrase += wideTerm();
            return phrase + pick(PhraseClosings);
        });
        return Row{{QStringLiteral("name"), name},
                   {QStringLiteral("typeid"), categories.value()[below(categories.value().size())]},
                   {QStringLiteral("serialnum"), i + 1},
                   {QStringLiteral("typeserialnum"), i + 1},
                   {QStringLiteral("usetime"), chance(20) ? 1 + below(200) : 0},
                   {QStringLiteral("username"), Author}};
    });
    if (!r)
        return r.error();
    return {};
}

Result<void> LibraryGenerator::fillAffairs()
{
    progress() << "company affairs" << Qt::endl;
    NameBook names(4, 30);
    Result<QList<qint64>> r = insertAll(Table::Type, m_sizes.affairs, [&](int i) {
        QString department;
        QString topic;
        const QString name = names.take([&] {
            department = pick(Departments);
            topic = pick(AffairTopics);
            QString period;
            if (chance(60)) {
                const int year = 2018 + below(7);
                period = QStringLiteral("（%1年%2月）").arg(year).arg(1 + below(12));
            } else {
                period = QStringLiteral("第%1期").arg(1 + below(99));
            }
            return department + topic + period;
        });
        const QString text =
            paragraph(AffairSentences, 20, 200, {{u'D', department}, {u'A', topic}}, 28);
        Row row{{QStringLiteral("name"), name},
                {QStringLiteral("description"), text},
                {QStringLiteral("itemid"), 3},
                {QStringLiteral("serialnum"), i + 1},
                {QStringLiteral("username"), Author}};
        if (chance(30)) {
            row.insert(QStringLiteral("flag"), chance(80) ? 1 : 0);
            row.insert(QStringLiteral("url"),
                       QStringLiteral("https://intranet.example.com/notice/%1").arg(10000 + i));
        }
        if (chance(15))
            row.insert(QStringLiteral("usetime"), 1 + below(60));
        return row;
    });
    if (!r)
        return r.error();
    return {};
}

Result<void> LibraryGenerator::fillCouriers()
{
    progress() << "couriers" << Qt::endl;
    NameBook names(4, 30);
    Result<QList<qint64>> r = insertAll(Table::Type, m_sizes.couriers, [&](int i) {
        int courier = 0;
        QString city;
        const QString name = names.take([&] {
            courier = below(Couriers.size());
            city = pick(Cities);
            const QString outlet = pick(Outlets);
            return Couriers[courier].toString() + city +
                   expand(outlet, {{u'N', QString::number(1 + below(99))}});
        });
        const int exchange = 100 + below(900);
        const int line = 1000 + below(9000);
        const int opens = 7 + below(3);
        const int closes = 18 + below(5);
        const int extraDays = 1 + below(4);
        const QString description =
            QStringLiteral("客服电话：400-%1-%2；服务时间：%3:00-%4:00；%5市内一般次日送达，"
                           "偏远地区另加%6天。")
                .arg(exchange)
                .arg(line)
                .arg(opens)
                .arg(closes)
                .arg(city)
                .arg(extraDays);
        return Row{
            {QStringLiteral("name"), name},
            {QStringLiteral("description"), description},
            {QStringLiteral("itemid"), 4},
            {QStringLiteral("flag"), chance(70) ? 1 : 0},
            {QStringLiteral("url"), QStringLiteral("https://www.%1-express.example/track?site=%2")
                                        .arg(CourierSlugs[courier])
                                        .arg(i + 1)},
            {QStringLiteral("serialnum"), i + 1},
            {QStringLiteral("usetime"), chance(10) ? 1 + below(40) : 0},
            {QStringLiteral("username"), Author}};
    });
    if (!r)
        return r.error();
    return {};
}

Result<void> LibraryGenerator::fillFiles()
{
    progress() << "files" << Qt::endl;
    QStringList categoryNames;
    for (QStringView c : FileCategories)
        categoryNames << c.toString();
    Result<QList<qint64>> categories =
        insertCategories(Table::FileType, categoryNames, m_sizes.otherCategories);
    if (!categories)
        return categories.error();

    NameBook names(4, 30);
    Result<QList<qint64>> r = insertAll(Table::File, m_sizes.files, [&](int i) {
        FileKind kind;
        const QString name = names.take([&] {
            kind = FileKinds[below(FileKinds.size())];
            QString n = pick(Products);
            n += model();
            n += kind.name.toString();
            if (chance(30)) {
                const int major = 1 + below(5);
                n += QStringLiteral("V%1.%2").arg(major).arg(below(10));
            }
            return n;
        });
        const QString extname = kind.extname.toString();
        Row row{{QStringLiteral("name"), name},
                {QStringLiteral("file"), smallFile(extname, 8 + below(56))},
                {QStringLiteral("extname"), extname},
                {QStringLiteral("typeid"), categories.value()[below(categories.value().size())]},
                {QStringLiteral("serialnum"), i + 1},
                {QStringLiteral("typeserialnum"), i + 1},
                {QStringLiteral("username"), Author}};
        if (chance(40))
            row.insert(QStringLiteral("filedesc"),
                       name + QStringLiteral("，发给顾客前请核对型号。"));
        return row;
    });
    if (!r)
        return r.error();
    return {};
}

Result<void> LibraryGenerator::fillTools()
{
    progress() << "tools" << Qt::endl;
    QStringList categoryNames;
    for (QStringView c : ToolCategories)
        categoryNames << c.toString();
    Result<QList<qint64>> categories =
        insertCategories(Table::ToolsType, categoryNames, m_sizes.otherCategories);
    if (!categories)
        return categories.error();

    NameBook names(3, 30);
    Result<QList<qint64>> r = insertAll(Table::Tools, m_sizes.tools, [&](int i) {
        const QString name = names.take([&] {
            const QString title = pick(ToolTitles);
            return expand(title, {{u'S', pick(ToolSystems)},
                                  {u'F', pick(ToolFunctions)},
                                  {u'N', QString::number(1 + below(500))}});
        });
        // Type 1 starts a program, type 2 opens a web address.
        const bool web = chance(60);
        const QString path = web ? QStringLiteral("https://erp.example.com/app/%1").arg(i + 1)
                                 : QStringLiteral("/usr/local/bin/cs-tool-%1").arg(i + 1);
        return Row{{QStringLiteral("name"), name},
                   {QStringLiteral("path"), path},
                   {QStringLiteral("type"), web ? 2 : 1},
                   {QStringLiteral("tooldesc"),
                    chance(30) ? name + QStringLiteral("，内部使用") : QString()},
                   {QStringLiteral("typeid"), categories.value()[below(categories.value().size())]},
                   {QStringLiteral("serialnum"), i + 1},
                   {QStringLiteral("typeserialnum"), i + 1},
                   {QStringLiteral("username"), Author}};
    });
    if (!r)
        return r.error();
    return {};
}

Result<void> LibraryGenerator::fillPrivateNotes()
{
    progress() << "private knowledge" << Qt::endl;
    QStringList categoryNames;
    for (QStringView c : PrivateCategories)
        categoryNames << c.toString();
    Result<QList<qint64>> categories =
        insertCategories(Table::PersonalType, categoryNames, m_sizes.otherCategories);
    if (!categories)
        return categories.error();

    NameBook names(4, 20);
    Result<QList<qint64>> r = insertAll(Table::Personal, m_sizes.privateNotes, [&](int i) {
        QString product;
        QString topic;
        const QString name = names.take([&] {
            product = pick(Products);
            topic = pick(Topics);
            const QString title = pick(PrivateTitles);
            return expand(title, {{u'P', product},
                                  {u'M', model()},
                                  {u'T', topic},
                                  {u'N', QString::number(1 + below(999))}});
        });
        Row row{{QStringLiteral("name"), name},
                {QStringLiteral("description"),
                 paragraph(KnowledgeSentences, 20, 200, {{u'P', product}, {u'T', topic}}, 15)},
                {QStringLiteral("typeid"), categories.value()[below(categories.value().size())]},
                {QStringLiteral("serialnum"), i + 1},
                {QStringLiteral("typeserialnum"), i + 1},
                {QStringLiteral("username"), Author}};
        if (chance(1)) {
            row.insert(QStringLiteral("extname"), QStringLiteral("png"));
            row.insert(QStringLiteral("pic"), smallFile(QStringLiteral("png"), 200 + below(300)));
        }
        return row;
    });
    if (!r)
        return r.error();
    return {};
}
