#include "panel/docking/ChatWindowList.h"
#include "panel/docking/DockGeometry.h"
#include "panel/docking/DockSwitch.h"
#include "panel/docking/DockingController.h"
#include "platform/fake/FakeDesktop.h"
#include "support/TestRoot.h"

#include <QSet>
#include <QSignalSpy>

namespace {

// The seven client switches in the order ChatWindowList goes through them; a switch string such
// as "1001000" holds one flag for each, in this order.
const QList<Setting> clientSwitches = {
    Setting::XiFuQQ,       Setting::XiFuWeiXin,   Setting::XiFuQiYeWeiXin,     Setting::XiFuQianNiu,
    Setting::XiFuWangWang, Setting::XiFuDingDing, Setting::XiFuBaiduShangQiao,
};
const QString allClients = "1111111";
const QString noClients = "0000000";

void setClients(Settings& settings, const QString& switches)
{
    QCOMPARE(switches.size(), clientSwitches.size());
    for (qsizetype i = 0; i < clientSwitches.size(); ++i)
        QVERIFY(settings.setValue(clientSwitches.at(i), switches.at(i)).ok());
}

// Windows reach the controller only through this desktop, which can also lose a window
// altogether, as when its program closes it.
class ClosingDesktop : public FakeDesktop {
public:
    using FakeDesktop::FakeDesktop;

    void close(WindowId id) { m_closed.insert(id); }

    WindowInfo foregroundWindow() override
    {
        const WindowInfo front = FakeDesktop::foregroundWindow();
        return m_closed.contains(front.id) ? WindowInfo{} : front;
    }
    WindowInfo window(WindowId id) override
    {
        return m_closed.contains(id) ? WindowInfo{} : FakeDesktop::window(id);
    }

private:
    QSet<WindowId> m_closed;
};

constexpr WindowId Chat = 10;
constexpr WindowId Panel = 20;
constexpr WindowId Editor = 30;
constexpr WindowId QqDialog = 40;
const QRect chatFrame(100, 50, 800, 600);
// chatFrame at 96 dpi: 6 px offsets, a 30 px bar, a 300 px panel.
const QRect chatBar(106, 644, 788, 30);
const QRect chatPanelRight(894, 56, 300, 588);
const QRect chatPanelLeft(-194, 56, 300, 588);

WindowInfo weixinWindow(const QRect& frame = chatFrame)
{
    return {Chat, "WeChatMainWndForPC", "微信", frame, true, false};
}

// A chat client, the panel, an editor and a QQ notice window on a desktop at 96 dpi, with a
// controller following them. Nothing is in front at first.
struct DockRig {
    TestRoot root{false};
    ClosingDesktop desktop;
    ChatWindowList chats;
    DockingController controller{desktop, *root.settings, chats};
    QSignalSpy targets{&controller, &DockingController::targetChanged};
    QSignalSpy bars{&controller, &DockingController::placeBar};
    QSignalSpy hides{&controller, &DockingController::hideBar};
    QSignalSpy panels{&controller, &DockingController::placePanel};
    QSignalSpy readouts{&controller, &DockingController::foregroundInfo};

    DockRig()
    {
        chats.rebuild(*root.settings);
        controller.setDpiProvider([](const QRect&) { return 96.0; });
        controller.setPanelWidth(300);
        controller.setBarHeight(30);
        desktop.addWindow(weixinWindow());
        desktop.addWindow(
            {Panel, "Quillmate", "客服Tavro(Quillmate)", QRect(900, 50, 300, 600), true, false});
        desktop.addWindow({Editor, "gedit", "notes.txt", QRect(0, 0, 500, 400), true, false});
        desktop.addWindow(
            {QqDialog, "TXGuiFoundation", "提示", QRect(300, 300, 200, 100), true, false});
        controller.start();
    }

    // Chat window in front, its bar placed; the spies start afresh.
    void chatInFront()
    {
        desktop.setForeground(Chat);
        QCOMPARE(bars.count(), 1);
        clearSpies();
    }
    void clearSpies()
    {
        targets.clear();
        bars.clear();
        hides.clear();
        panels.clear();
        readouts.clear();
    }
    QRect lastPanel() const { return panels.last().at(0).toRect(); }
    QRect lastBar() const { return bars.last().at(0).toRect(); }
};

} // namespace

class TestDocking : public QObject {
    Q_OBJECT
private slots:
    void recognition_data();
    void recognition();
    void allClientsOffRecognisesNothing();
    void rebuildKeepsEarlierRecords();
    void customRules_data();
    void customRules();
    void invalidCustomRulesAreReportedAndIgnored();
    void customRulesComeFromTheSettings();

    void panelBesideChat_data();
    void panelBesideChat();
    void queryBar_data();
    void queryBar();
    void edgeAction_data();
    void edgeAction();
    void dockSwitch();

    void chatInFrontBecomesTarget();
    void ownWindowInFrontChangesNothing();
    void otherWindowInFrontKeepsTarget();
    void titleChangeMakesAChatWindow();
    void panelFollowsOnlyWhenDocked();
    void panelSideFromSettings();
    void queryBarFlagOff();
    void hiddenTarget_data();
    void hiddenTarget();
    void closedTargetIsDropped();
    void samePlacementIsSentOnce();
    void fallbackTimerWaitsWhileEventsArrive();
    void pollingWithoutEvents();
    void unavailableDesktopIsNotFollowed();
};

void TestDocking::recognition_data()
{
    QTest::addColumn<QString>("switches");
    QTest::addColumn<QString>("className");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("expected");

    const QString qq = "TXGuiFoundation";
    QTest::newRow("qq contact") << allClients << qq << "张三"
                                << "1,qq";
    QTest::newRow("qq group not in the list") << allClients << qq << "QQ群"
                                              << "1,qq";
    QTest::newRow("qq notice") << allClients << qq << "提示"
                               << "0,empty";
    QTest::newRow("qq part of a listed title") << allClients << qq << "钱包"
                                               << "0,empty";
    QTest::newRow("qq main window") << allClients << qq << "QQ"
                                    << "0,empty";
    QTest::newRow("qq without title") << allClients << qq << ""
                                      << "0,empty";
    QTest::newRow("qq class differs in case") << allClients << "txguifoundation"
                                              << "张三"
                                              << "0,empty";
    QTest::newRow("qq off") << "0111111" << qq << "张三"
                            << "0,empty";

    QTest::newRow("weixin") << allClients << "WeChatMainWndForPC"
                            << "微信"
                            << "1,weixin";
    QTest::newRow("weixin other title") << allClients << "WeChatMainWndForPC"
                                        << "朋友圈"
                                        << "0,empty";
    QTest::newRow("weixin title, other class") << allClients << "Notepad"
                                               << "微信"
                                               << "0,empty";
    QTest::newRow("wecom") << allClients << "WeWorkWindow"
                           << "企业微信"
                           << "1,qiyeweixin";
    QTest::newRow("wecom other title") << allClients << "WeWorkWindow"
                                       << "企业微信 - 张三"
                                       << "0,empty";

    const QString frame = "StandardFrame";
    QTest::newRow("qianniu") << "0001000" << frame << "shop - 接待中心"
                             << "1,qianniu";
    QTest::newRow("wangwang") << "0000100" << frame << "阿里旺旺 - customer"
                              << "1,wangwang";
    QTest::newRow("wangwang name second counts as qianniu")
        << "0000100" << frame << "customer - 阿里旺旺"
        << "1,qianniu";
    QTest::newRow("wangwang title with only qianniu on")
        << "0001000" << frame << "customer - 阿里旺旺"
        << "0,empty";
    QTest::newRow("failed record does not end the search")
        << allClients << frame << "阿里旺旺 - customer"
        << "1,wangwang";
    QTest::newRow("standard frame without dash") << allClients << frame << "接待中心"
                                                 << "0,empty";
    QTest::newRow("only the second piece counts") << allClients << frame << "a - b - 接待中心"
                                                  << "0,empty";

    QTest::newRow("dingding") << allClients << "StandardFrame_DingTalk"
                              << "钉钉"
                              << "1,dingding";
    QTest::newRow("dingding other title") << allClients << "StandardFrame_DingTalk"
                                          << "钉钉 - x"
                                          << "0,empty";
    QTest::newRow("baidu") << allClients << "BaseGui"
                           << "x - 百度商桥"
                           << "1,baidushangqiao";
    QTest::newRow("baidu name first") << allClients << "BaseGui"
                                      << "百度商桥 - x"
                                      << "0,empty";
    QTest::newRow("baidu without dash") << allClients << "BaseGui"
                                        << "百度商桥"
                                        << "0,empty";
    QTest::newRow("empty first record of a list without qq") << "0111111"
                                                             << ""
                                                             << "微信"
                                                             << "0,empty";
}

void TestDocking::recognition()
{
    QFETCH(QString, switches);
    QFETCH(QString, className);
    QFETCH(QString, title);
    QFETCH(QString, expected);
    TestRoot root(false);
    setClients(*root.settings, switches);
    ChatWindowList chats;
    chats.rebuild(*root.settings);

    QCOMPARE(chats.recognizeText(className, title), expected);
    const ChatWindowList::Match match = chats.recognize(className, title);
    QCOMPARE(match.chat, expected.startsWith("1,"));
    QCOMPARE(match.kind, expected.sliced(2));
}

void TestDocking::allClientsOffRecognisesNothing()
{
    TestRoot root(false);
    setClients(*root.settings, noClients);
    ChatWindowList chats;
    chats.rebuild(*root.settings);
    QCOMPARE(chats.records(), QString());
    const QList<std::pair<QString, QString>> windows = {
        {"TXGuiFoundation", "张三"},
        {"WeChatMainWndForPC", "微信"},
        {"WeWorkWindow", "企业微信"},
        {"StandardFrame", "shop - 接待中心"},
        {"StandardFrame", "阿里旺旺 - customer"},
        {"StandardFrame_DingTalk", "钉钉"},
        {"BaseGui", "x - 百度商桥"},
        {"", ""},
    };
    for (const auto& [className, title] : windows)
        QCOMPARE(chats.recognizeText(className, title), QStringLiteral("0,empty"));
}

void TestDocking::rebuildKeepsEarlierRecords()
{
    TestRoot root(false);
    Settings& settings = *root.settings;
    ChatWindowList chats;
    chats.rebuild(settings);
    QVERIFY(chats.records().startsWith("TXGuiFoundation|QQ,勋章墙,"));
    QVERIFY(chats.records().endsWith("添加群@WeChatMainWndForPC|微信@WeWorkWindow|企业微信"
                                     "@StandardFrame|接待中心@StandardFrame|阿里旺旺"
                                     "@StandardFrame_DingTalk|钉钉@BaseGui|百度商桥"));
    const QString first = chats.records();

    // QQ off: nothing assigns, so the QQ record stays and the others come twice.
    setClients(settings, "0100000");
    chats.rebuild(settings);
    QCOMPARE(chats.records(), first + "@WeChatMainWndForPC|微信");
    QCOMPARE(chats.recognizeText("TXGuiFoundation", "张三"), QStringLiteral("1,qq"));

    // QQ on again starts the text afresh.
    setClients(settings, "1000000");
    chats.rebuild(settings);
    QVERIFY(!chats.records().contains('@'));
    QCOMPARE(chats.recognizeText("WeChatMainWndForPC", "微信"), QStringLiteral("0,empty"));

    // A list that never had QQ starts with an empty record.
    ChatWindowList fresh;
    setClients(settings, "0100000");
    fresh.rebuild(settings);
    QCOMPARE(fresh.records(), QStringLiteral("@WeChatMainWndForPC|微信"));
    QCOMPARE(fresh.recognizeText("TXGuiFoundation", "张三"), QStringLiteral("0,empty"));
    QCOMPARE(fresh.recognizeText("WeChatMainWndForPC", "微信"), QStringLiteral("1,weixin"));
}

void TestDocking::customRules_data()
{
    QTest::addColumn<QString>("rules");
    QTest::addColumn<QString>("className");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("expected");

    QTest::newRow("class only") << "Chromium"
                                << "Chromium"
                                << "anything"
                                << "1,custom";
    QTest::newRow("class only, empty title") << "Chromium"
                                             << "Chromium"
                                             << ""
                                             << "1,custom";
    QTest::newRow("class in other case") << "chromium"
                                         << "Chromium"
                                         << "anything"
                                         << "1,custom";
    QTest::newRow("other class") << "Chromium"
                                 << "Firefox"
                                 << "anything"
                                 << "0,empty";
    QTest::newRow("pattern inside the title") << "Chromium|客服.*工作台"
                                              << "Chromium"
                                              << "在线客服 - 工作台 - Chromium"
                                              << "1,custom";
    QTest::newRow("pattern not in the title") << "Chromium|客服.*工作台"
                                              << "Chromium"
                                              << "工作台 - 客服"
                                              << "0,empty";
    QTest::newRow("anchored pattern") << "Chromium|^Chat$"
                                      << "Chromium"
                                      << "Chat room"
                                      << "0,empty";
    QTest::newRow("pattern alternatives") << "Chromium|Sales|Support"
                                          << "Chromium"
                                          << "Support desk"
                                          << "1,custom";
    QTest::newRow("blanks around the parts") << " Chromium | desk ; Firefox"
                                             << "Chromium"
                                             << "Support desk"
                                             << "1,custom";
    QTest::newRow("second rule") << "Firefox|mail;Chromium|desk"
                                 << "Chromium"
                                 << "Support desk"
                                 << "1,custom";
    QTest::newRow("built-in record first") << "TXGuiFoundation"
                                           << "TXGuiFoundation"
                                           << "张三"
                                           << "1,qq";
    QTest::newRow("custom after a failed built-in test") << "TXGuiFoundation"
                                                         << "TXGuiFoundation"
                                                         << "提示"
                                                         << "1,custom";
}

void TestDocking::customRules()
{
    QFETCH(QString, rules);
    QFETCH(QString, className);
    QFETCH(QString, title);
    QFETCH(QString, expected);
    TestRoot root(false);
    ChatWindowList chats;
    chats.rebuild(*root.settings);
    chats.setCustomRules(rules);
    QCOMPARE(chats.recognizeText(className, title), expected);
    QVERIFY(chats.invalidRules().isEmpty());
}

void TestDocking::invalidCustomRulesAreReportedAndIgnored()
{
    ChatWindowList chats;
    chats.setCustomRules("Broken|(unclosed;Good|fine;;|no class;Broken");
    QCOMPARE(chats.invalidRules(), QStringList({"Broken|(unclosed", "|no class"}));
    QCOMPARE(chats.recognizeText("Good", "all fine"), QStringLiteral("1,custom"));
    // The class-only rule for the same class still applies; the broken one matched nothing.
    QCOMPARE(chats.recognizeText("Broken", "(unclosed"), QStringLiteral("1,custom"));

    chats.setCustomRules("Broken|(unclosed");
    QCOMPARE(chats.recognizeText("Broken", "(unclosed"), QStringLiteral("0,empty"));
    chats.setCustomRules("Good");
    QVERIFY(chats.invalidRules().isEmpty());
}

void TestDocking::customRulesComeFromTheSettings()
{
    TestRoot root(false);
    QVERIFY(root.settings->setValue(Setting::XiFuCustomWindows, "Chromium|客服;Bad|[").ok());
    ChatWindowList chats;
    chats.rebuild(*root.settings);
    QCOMPARE(chats.recognizeText("Chromium", "客服台"), QStringLiteral("1,custom"));
    QCOMPARE(chats.invalidRules(), QStringList({"Bad|["}));

    // A rebuild replaces the rules rather than adding to them.
    QVERIFY(root.settings->setValue(Setting::XiFuCustomWindows, "Firefox").ok());
    chats.rebuild(*root.settings);
    QCOMPARE(chats.recognizeText("Chromium", "客服台"), QStringLiteral("0,empty"));
    QCOMPARE(chats.recognizeText("Firefox", "x"), QStringLiteral("1,custom"));
    QVERIFY(chats.invalidRules().isEmpty());
}

void TestDocking::panelBesideChat_data()
{
    QTest::addColumn<double>("dpi");
    QTest::addColumn<QString>("showPos");
    QTest::addColumn<QRect>("expected");

    QTest::newRow("96 dpi right") << 96.0 << "2" << chatPanelRight;
    QTest::newRow("96 dpi left") << 96.0 << "1" << chatPanelLeft;
    QTest::newRow("anything but 1 is right") << 96.0 << "" << chatPanelRight;
    QTest::newRow("144 dpi right") << 144.0 << "2" << QRect(891, 59, 300, 582);
    QTest::newRow("144 dpi left") << 144.0 << "1" << QRect(-191, 59, 300, 582);
}

void TestDocking::panelBesideChat()
{
    QFETCH(double, dpi);
    QFETCH(QString, showPos);
    QFETCH(QRect, expected);
    QCOMPARE(DockGeometry::panelRect(chatFrame, 300, DockGeometry::panelSide(showPos), dpi),
             expected);
}

void TestDocking::queryBar_data()
{
    QTest::addColumn<double>("dpi");
    QTest::addColumn<QRect>("expected");

    QTest::newRow("96 dpi") << 96.0 << chatBar;
    QTest::newRow("144 dpi") << 144.0 << QRect(109, 641, 782, 30);
}

void TestDocking::queryBar()
{
    QFETCH(double, dpi);
    QFETCH(QRect, expected);
    QCOMPARE(DockGeometry::queryBarRect(chatFrame, 30, dpi), expected);
}

void TestDocking::edgeAction_data()
{
    using DockGeometry::EdgeAction;
    QTest::addColumn<QRect>("available");
    QTest::addColumn<QRect>("panel");
    QTest::addColumn<QPoint>("cursor");
    QTest::addColumn<bool>("hideEnabled");
    QTest::addColumn<bool>("floating");
    QTest::addColumn<bool>("hidden");
    QTest::addColumn<EdgeAction>("expected");

    const QRect screen(0, 0, 1920, 1040);
    const QRect rightScreen(1920, 0, 1920, 1040);
    const QRect atRight(1620, 100, 300, 600);
    const QPoint away(100, 100);
    const QPoint inside(1700, 300);

    QTest::newRow("right edge, cursor away")
        << screen << atRight << away << true << true << false << EdgeAction::Hide;
    QTest::newRow("4 px from the right edge")
        << screen << atRight.translated(-4, 0) << away << true << true << false << EdgeAction::Hide;
    QTest::newRow("5 px from the right edge")
        << screen << atRight.translated(-5, 0) << away << true << true << false << EdgeAction::Stay;
    QTest::newRow("beyond the right edge")
        << screen << atRight.translated(50, 0) << away << true << true << false << EdgeAction::Hide;
    QTest::newRow("cursor over the panel")
        << screen << atRight << inside << true << true << false << EdgeAction::Stay;
    QTest::newRow("edge hiding off")
        << screen << atRight << away << false << true << false << EdgeAction::Stay;
    QTest::newRow("docked") << screen << atRight << away << true << false << false
                            << EdgeAction::Stay;
    QTest::newRow("top at 4") << screen << QRect(1620, 4, 300, 600) << away << true << true << false
                              << EdgeAction::Stay;
    QTest::newRow("top at 5") << screen << QRect(1620, 5, 300, 600) << away << true << true << false
                              << EdgeAction::Hide;
    QTest::newRow("left edge of a screen at x 0")
        << screen << QRect(0, 100, 300, 600) << QPoint(1000, 100) << true << true << false
        << EdgeAction::Stay;
    QTest::newRow("left at 3 of a screen at x 0")
        << screen << QRect(3, 100, 300, 600) << QPoint(1000, 100) << true << true << false
        << EdgeAction::Stay;
    QTest::newRow("left edge of a screen right of another")
        << rightScreen << QRect(1922, 100, 300, 600) << QPoint(3000, 100) << true << true << false
        << EdgeAction::Hide;
    QTest::newRow("middle of the screen")
        << screen << QRect(800, 100, 300, 600) << away << true << true << false << EdgeAction::Stay;

    const QRect handle(1912, 100, 8, 600);
    QTest::newRow("cursor over the handle")
        << screen << handle << QPoint(1915, 300) << true << true << true << EdgeAction::Show;
    QTest::newRow("cursor away from the handle")
        << screen << handle << away << true << true << true << EdgeAction::Stay;
    QTest::newRow("handle when hiding is turned off")
        << screen << handle << away << false << true << true << EdgeAction::Show;
    QTest::newRow("handle when docked")
        << screen << handle << away << true << false << true << EdgeAction::Show;
}

void TestDocking::edgeAction()
{
    QFETCH(QRect, available);
    QFETCH(QRect, panel);
    QFETCH(QPoint, cursor);
    QFETCH(bool, hideEnabled);
    QFETCH(bool, floating);
    QFETCH(bool, hidden);
    QFETCH(DockGeometry::EdgeAction, expected);
    QCOMPARE(DockGeometry::edgeAction({panel, available, cursor, hideEnabled, floating, hidden}),
             expected);
}

void TestDocking::dockSwitch()
{
    using Action = DockSwitch::Action;
    DockSwitch dock;
    QCOMPARE(dock.caption(), QStringLiteral("吸附"));
    QCOMPARE(dock.dockingOn(), QString());
    QVERIFY(!dock.docked());

    // Undocking while floating changes nothing, not even DockingOn.
    QVERIFY(!dock.undock());
    QCOMPARE(dock.caption(), QStringLiteral("吸附"));
    QCOMPARE(dock.dockingOn(), QString());

    QCOMPARE(dock.click(), Action::Dock);
    QCOMPARE(dock.caption(), QStringLiteral("悬停"));
    QCOMPARE(dock.dockingOn(), QStringLiteral("1"));
    QVERIFY(dock.docked());

    QCOMPARE(dock.click(), Action::Undock);
    QCOMPARE(dock.caption(), QStringLiteral("吸附"));
    QCOMPARE(dock.dockingOn(), QStringLiteral("0"));
    QVERIFY(!dock.docked());

    QCOMPARE(dock.click(), Action::Dock);
    QVERIFY(dock.undock());
    QCOMPARE(dock.caption(), QStringLiteral("吸附"));
    QCOMPARE(dock.dockingOn(), QStringLiteral("0"));
    QVERIFY(!dock.undock());
    QCOMPARE(dock.dockingOn(), QStringLiteral("0"));

    QCOMPARE(dock.click(), Action::Dock);
    QCOMPARE(dock.caption(), QStringLiteral("悬停"));
}

void TestDocking::chatInFrontBecomesTarget()
{
    DockRig rig;
    rig.desktop.setForeground(Editor);
    QCOMPARE(rig.targets.count(), 0);
    QCOMPARE(rig.readouts.count(), 1);
    QCOMPARE(rig.readouts.last(), QVariantList({"gedit", "notes.txt"}));

    rig.desktop.setForeground(Chat);
    QCOMPARE(rig.targets.count(), 1);
    QCOMPARE(rig.targets.last(), QVariantList({QVariant::fromValue(Chat), "weixin"}));
    QCOMPARE(rig.controller.target().window, Chat);
    QCOMPARE(rig.controller.target().kind, QStringLiteral("weixin"));
    QCOMPARE(rig.bars.count(), 1);
    QCOMPARE(rig.lastBar(), chatBar);
    // Not docked yet: DockingOn is still empty and the panel stays where it is.
    QCOMPARE(rig.controller.dockingOn(), QString());
    QCOMPARE(rig.panels.count(), 0);
    QCOMPARE(rig.readouts.last(), QVariantList({"WeChatMainWndForPC", "微信"}));
    QCOMPARE(rig.controller.currentForeground().id, Chat);
}

void TestDocking::ownWindowInFrontChangesNothing()
{
    DockRig rig;
    rig.controller.setDocked(true);
    rig.chatInFront();
    for (const QString& title :
         {QStringLiteral("客服Tavro(Quillmate)"), QStringLiteral("知识库-底部查询-编辑"),
          QStringLiteral("QuillmateBottomQuery")}) {
        // Our own window, even if its class were a chat client's.
        rig.desktop.addWindow({Panel, "WeChatMainWndForPC", title, QRect(), true, false});
        rig.desktop.setForeground(Panel);
        QCOMPARE(rig.targets.count(), 0);
        QCOMPARE(rig.bars.count(), 0);
        QCOMPARE(rig.hides.count(), 0);
        QCOMPARE(rig.panels.count(), 0);
        QCOMPARE(rig.readouts.count(), 0);
        QCOMPARE(rig.controller.target().window, Chat);
        QCOMPARE(rig.controller.currentForeground().id, Chat);
        rig.desktop.setForeground(Chat);
    }
}

void TestDocking::otherWindowInFrontKeepsTarget()
{
    DockRig rig;
    rig.controller.setDocked(true);
    rig.chatInFront();
    rig.desktop.setForeground(QqDialog); // a QQ window, but not a conversation
    rig.desktop.setForeground(Editor);
    QCOMPARE(rig.targets.count(), 0);
    QCOMPARE(rig.controller.target().window, Chat);
    QCOMPARE(rig.readouts.count(), 2);
    QCOMPARE(rig.readouts.last(), QVariantList({"gedit", "notes.txt"}));
    QCOMPARE(rig.bars.count(), 0);
    QCOMPARE(rig.panels.count(), 0);

    // The target keeps being followed from behind.
    rig.desktop.moveWindow(Chat, chatFrame.translated(10, 0));
    QCOMPARE(rig.lastBar(), chatBar.translated(10, 0));
    QCOMPARE(rig.lastPanel(), chatPanelRight.translated(10, 0));
}

void TestDocking::titleChangeMakesAChatWindow()
{
    DockRig rig;
    rig.desktop.setForeground(QqDialog);
    QCOMPARE(rig.targets.count(), 0);

    rig.desktop.addWindow(
        {QqDialog, "TXGuiFoundation", "张三", QRect(300, 300, 200, 100), true, false});
    emit rig.desktop.windowTitleChanged(QqDialog, "张三");
    QCOMPARE(rig.targets.count(), 1);
    QCOMPARE(rig.targets.last(), QVariantList({QVariant::fromValue(QqDialog), "qq"}));
    QCOMPARE(rig.readouts.last(), QVariantList({"TXGuiFoundation", "张三"}));
}

void TestDocking::panelFollowsOnlyWhenDocked()
{
    DockRig rig;
    rig.chatInFront();
    rig.desktop.moveWindow(Chat, chatFrame.translated(0, 20));
    QCOMPARE(rig.bars.count(), 1);
    QCOMPARE(rig.panels.count(), 0);

    rig.controller.setDocked(true);
    QCOMPARE(rig.controller.dockingOn(), QStringLiteral("1"));
    QCOMPARE(rig.panels.count(), 1);
    QCOMPARE(rig.lastPanel(), chatPanelRight.translated(0, 20));
    rig.desktop.moveWindow(Chat, chatFrame);
    QCOMPARE(rig.panels.count(), 2);
    QCOMPARE(rig.lastPanel(), chatPanelRight);

    rig.controller.setPanelWidth(250);
    QCOMPARE(rig.panels.count(), 3);
    QCOMPARE(rig.lastPanel().width(), 250);

    rig.controller.setDocked(false);
    QCOMPARE(rig.controller.dockingOn(), QStringLiteral("0"));
    rig.desktop.moveWindow(Chat, chatFrame.translated(0, 40));
    QCOMPARE(rig.panels.count(), 3);
    QCOMPARE(rig.lastBar(), chatBar.translated(0, 40));

    // Docking again places the panel even though it was last sent to this very rectangle.
    rig.desktop.moveWindow(Chat, chatFrame);
    rig.controller.setPanelWidth(300);
    rig.controller.setDocked(true);
    QCOMPARE(rig.panels.count(), 4);
    QCOMPARE(rig.lastPanel(), chatPanelRight);
}

void TestDocking::panelSideFromSettings()
{
    DockRig rig;
    rig.controller.setDocked(true);
    rig.chatInFront();
    QVERIFY(rig.root.settings->setValue(Setting::XiFuMainShowPos, "1").ok());
    rig.desktop.moveWindow(Chat, chatFrame);
    QCOMPARE(rig.panels.count(), 1);
    QCOMPARE(rig.lastPanel(), chatPanelLeft);
}

void TestDocking::queryBarFlagOff()
{
    DockRig rig;
    QVERIFY(rig.root.settings->setValue(Setting::QueryBarShowFlag, "0").ok());
    rig.controller.setDocked(true);
    rig.desktop.setForeground(Chat);
    QCOMPARE(rig.bars.count(), 0);
    QCOMPARE(rig.panels.count(), 1);

    // Turned on again, the bar is placed at the next step.
    QVERIFY(rig.root.settings->setValue(Setting::QueryBarShowFlag, "1").ok());
    rig.desktop.moveWindow(Chat, chatFrame);
    QCOMPARE(rig.bars.count(), 1);
    QCOMPARE(rig.lastBar(), chatBar);
}

void TestDocking::hiddenTarget_data()
{
    QTest::addColumn<QRect>("frame");
    QTest::addColumn<bool>("visible");
    QTest::addColumn<bool>("minimized");

    QTest::newRow("minimised") << chatFrame << true << true;
    QTest::newRow("at -32000, -32000") << QRect(-32000, -32000, 160, 28) << true << false;
    QTest::newRow("invisible") << chatFrame << false << false;
}

void TestDocking::hiddenTarget()
{
    QFETCH(QRect, frame);
    QFETCH(bool, visible);
    QFETCH(bool, minimized);
    DockRig rig;
    rig.controller.setDocked(true);
    rig.chatInFront();

    rig.desktop.addWindow({Chat, "WeChatMainWndForPC", "微信", frame, visible, minimized});
    rig.desktop.setForeground(Editor);
    QCOMPARE(rig.hides.count(), 1);
    QCOMPARE(rig.bars.count(), 0);
    QCOMPARE(rig.panels.count(), 0);
    QCOMPARE(rig.controller.target().window, Chat);
    rig.desktop.moveWindow(Chat, frame);
    QCOMPARE(rig.hides.count(), 1);

    // Back where it was: the bar must be shown again although its rectangle is unchanged.
    rig.desktop.addWindow(weixinWindow());
    rig.desktop.setForeground(Chat);
    QCOMPARE(rig.bars.count(), 1);
    QCOMPARE(rig.lastBar(), chatBar);
    QCOMPARE(rig.targets.count(), 0);
}

void TestDocking::closedTargetIsDropped()
{
    DockRig rig;
    rig.chatInFront();
    rig.desktop.close(Chat);
    rig.desktop.setForeground(Editor);
    QCOMPARE(rig.targets.count(), 1);
    QCOMPARE(rig.targets.last(), QVariantList({QVariant::fromValue(WindowId{0}), "empty"}));
    QCOMPARE(rig.controller.target().window, WindowId{0});
    QCOMPARE(rig.hides.count(), 1);

    // With no target there is nothing to place or hide.
    rig.controller.setDocked(true);
    rig.desktop.setForeground(QqDialog);
    QCOMPARE(rig.hides.count(), 1);
    QCOMPARE(rig.bars.count(), 0);
    QCOMPARE(rig.panels.count(), 0);
}

void TestDocking::samePlacementIsSentOnce()
{
    DockRig rig;
    rig.controller.setDocked(true);
    rig.desktop.setForeground(Chat);
    QCOMPARE(rig.panels.count(), 1);
    QCOMPARE(rig.bars.count(), 1);
    rig.desktop.moveWindow(Chat, chatFrame);
    rig.desktop.moveWindow(Chat, chatFrame);
    rig.desktop.setForeground(Editor);
    rig.desktop.setForeground(Chat);
    // Idle: the fallback timer runs the step several times.
    QTest::qWait(5 * DockingController::FallbackIntervalMs);
    QCOMPARE(rig.panels.count(), 1);
    QCOMPARE(rig.bars.count(), 1);
    QCOMPARE(rig.targets.count(), 1);

    rig.controller.refresh();
    QCOMPARE(rig.panels.count(), 2);
    QCOMPARE(rig.bars.count(), 2);
    QCOMPARE(rig.lastPanel(), chatPanelRight);
}

void TestDocking::fallbackTimerWaitsWhileEventsArrive()
{
    DockRig rig;
    rig.controller.setDocked(true);
    rig.chatInFront();
    // The chat window moves without the desktop reporting it, while other windows keep
    // reporting moves.
    rig.desktop.addWindow(weixinWindow(chatFrame.translated(30, 0)));
    for (int i = 0; i < 25; ++i) {
        rig.desktop.moveWindow(Editor, QRect(i, 0, 500, 400));
        QTest::qWait(20);
    }
    QCOMPARE(rig.panels.count(), 0);
    QCOMPARE(rig.bars.count(), 0);

    // Once the events stop, the timer catches up.
    QTRY_COMPARE_WITH_TIMEOUT(rig.panels.count(), 1, 1000);
    QCOMPARE(rig.lastPanel(), chatPanelRight.translated(30, 0));
    QCOMPARE(rig.lastBar(), chatBar.translated(30, 0));
}

void TestDocking::pollingWithoutEvents()
{
    DockRig rig;
    rig.controller.setEventDriven(false);
    rig.controller.setDocked(true);
    rig.chatInFront();
    rig.desktop.addWindow(weixinWindow(chatFrame.translated(30, 0)));
    for (int i = 0; i < 25 && rig.panels.count() == 0; ++i) {
        rig.desktop.moveWindow(Editor, QRect(i, 0, 500, 400));
        QTest::qWait(20);
    }
    QCOMPARE(rig.panels.count(), 1);
    QCOMPARE(rig.lastPanel(), chatPanelRight.translated(30, 0));
}

void TestDocking::unavailableDesktopIsNotFollowed()
{
    TestRoot root(false);
    FakeDesktop desktop;
    desktop.setUnavailable("no access to other windows");
    desktop.addWindow(weixinWindow());
    ChatWindowList chats;
    chats.rebuild(*root.settings);
    DockingController controller(desktop, *root.settings, chats);
    QSignalSpy targets(&controller, &DockingController::targetChanged);
    QSignalSpy bars(&controller, &DockingController::placeBar);
    controller.start();
    QVERIFY(!controller.isRunning());
    desktop.setForeground(Chat);
    QTest::qWait(3 * DockingController::FallbackIntervalMs);
    QCOMPARE(targets.count(), 0);
    QCOMPARE(bars.count(), 0);
}

QTEST_MAIN(TestDocking)
#include "tst_docking.moc"
