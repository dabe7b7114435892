#include "panel/docking/ChatWindowList.h"
#include "panel/docking/DockGeometry.h"
#include "panel/docking/DockSwitch.h"
#include "panel/docking/DockingController.h"
#include "platform/fake/FakeDesktop.h"
#include "support/FixtureRows.h"
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

// The numbers of a fixture field such as "100,50,800,600".
QList<int> numbersIn(const QString& field)
{
    QList<int> out;
    for (const QString& n : field.split(','))
        out << n.toInt();
    return out;
}

WindowInfo weixinWindow(const QRect& frame = chatFrame)
{
    return {Chat, "WeChatMainWndForPC", "微信", frame, true, false};
}

// A chat client, the panel, an editor and a QQ notice window on a desktop at 96 dpi, with a
// controller following them. Nothing is in front at first. A desktop not `available` gives no
// access to other windows.
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

    explicit DockRig(bool available = true)
    {
        if (!available)
            desktop.setUnavailable("no access to other windows");
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
    // How many targets, bars, hides and panels were sent since the spies were last cleared.
    QList<qsizetype> sent() const
    {
        return {targets.count(), bars.count(), hides.count(), panels.count()};
    }
    QRect lastPanel() const { return panels.last().at(0).toRect(); }
    // How many panel placements were sent, and the last one.
    std::pair<qsizetype, QRect> panel() const { return {panels.count(), lastPanel()}; }
    QRect lastBar() const { return bars.last().at(0).toRect(); }
};

} // namespace

class TestDocking : public QObject {
    Q_OBJECT
private slots:
    void recognition_data() { fixtureData("chat-windows.txt"); }
    void recognition();
    void rebuildKeepsEarlierRecords();
    void invalidCustomRulesAreReportedAndIgnored();

    void barAndPanelBesideChat();
    void edgeAction_data() { fixtureData("screen-edges.txt"); }
    void edgeAction();
    void dockSwitch();

    void chatInFrontBecomesTarget();
    void otherWindowsInFrontKeepTheTarget();
    void panelFollowsOnlyWhenDocked();
    void queryBarFlagOff();
    void hiddenTarget_data() { fixtureData("hidden-targets.txt"); }
    void hiddenTarget();
    void closedTargetIsDropped();
    void samePlacementIsSentOnce();
    void chatMovesUnreported_data();
    void chatMovesUnreported();
    void unavailableDesktopIsNotFollowed();
};

// A row of chat-windows.txt: the client switches, the custom rules, a window's class and title,
// and what it is recognised as.
void TestDocking::recognition()
{
    QFETCH(QStringList, row);
    QCOMPARE(row.size(), 6);
    TestRoot root(false);
    QVERIFY(root.ok());
    setClients(*root.settings, row.at(1));
    ChatWindowList chats;
    chats.rebuild(*root.settings);
    chats.setCustomRules(row.at(2));
    QCOMPARE(chats.recognizeText(row.at(3), row.at(4)), row.at(5));
    QCOMPARE(chats.recognize(row.at(3), row.at(4)).chat, row.at(5).startsWith("1,"));
    QVERIFY(chats.invalidRules().isEmpty());
}

void TestDocking::rebuildKeepsEarlierRecords()
{
    TestRoot root(false);
    QVERIFY(root.ok());
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

    // With every client switched off, a list that never had one recognises nothing.
    ChatWindowList none;
    setClients(settings, "0000000");
    none.rebuild(settings);
    QCOMPARE(none.records(), QString());
    QCOMPARE(none.recognizeText("TXGuiFoundation", "张三"), QStringLiteral("0,empty"));
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

    // The rules of the settings come with a rebuild, and replace the earlier ones.
    TestRoot root(false);
    QVERIFY(root.ok());
    QVERIFY(root.settings->setValue(Setting::XiFuCustomWindows, "Chromium|客服;Bad|[").ok());
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

void TestDocking::barAndPanelBesideChat()
{
    // At 96 dpi the controller's tests below place them; here a larger scale.
    using DockGeometry::Side;
    QCOMPARE(DockGeometry::queryBarRect(chatFrame, 30, 144.0), QRect(109, 641, 782, 30));
    QCOMPARE(DockGeometry::panelRect(chatFrame, 300, Side::Right, 144.0), QRect(891, 59, 300, 582));
    QCOMPARE(DockGeometry::panelRect(chatFrame, 300, Side::Left, 144.0), QRect(-191, 59, 300, 582));
    // XiFuMainShowPos "1" is the left side, anything else the right.
    QCOMPARE(DockGeometry::panelSide("1"), Side::Left);
    QCOMPARE(DockGeometry::panelSide("2"), Side::Right);
    QCOMPARE(DockGeometry::panelSide(""), Side::Right);
}

// A row of screen-edges.txt: a name, the screen's available area, the panel, the cursor, the
// three flags, and what the panel does, with the edge its handle goes to when it hides.
void TestDocking::edgeAction()
{
    QFETCH(QStringList, row);
    QCOMPARE(row.size(), 6);
    const QList<int> area = numbersIn(row.at(1)), panel = numbersIn(row.at(2)),
                     cursor = numbersIn(row.at(3));
    QVERIFY(area.size() == 4 && panel.size() == 4 && cursor.size() == 2 && row.at(4).size() == 3);
    const DockGeometry::EdgeInput input{QRect(panel[0], panel[1], panel[2], panel[3]),
                                        QRect(area[0], area[1], area[2], area[3]),
                                        QPoint(cursor[0], cursor[1]),
                                        row.at(4).at(0) == '1',
                                        row.at(4).at(1) == '1',
                                        row.at(4).at(2) == '1'};
    const QStringList actions{"Stay", "Hide", "Show"};
    const DockGeometry::EdgeAction action = DockGeometry::edgeAction(input);
    QCOMPARE(actions.value(int(action)), row.at(5).section(' ', 0, 0));
    if (action == DockGeometry::EdgeAction::Hide) {
        const QRect& screen = input.available;
        const int x = row.at(5).endsWith("left") ? screen.x() : screen.x() + screen.width() - 10;
        QCOMPARE(DockGeometry::handleRect(input.panel, screen, 10),
                 QRect(x, input.panel.y(), 10, input.panel.height()));
    }
}

void TestDocking::dockSwitch()
{
    DockSwitch dock;
    // The caption, DockingOn and whether docked, after each step.
    const auto state = [&] {
        return QStringList{dock.caption(), dock.dockingOn(), dock.docked() ? "docked" : ""};
    };
    QCOMPARE(state(), (QStringList{"吸附", "", ""}));
    // Undocking while floating changes nothing, not even DockingOn.
    QVERIFY(!dock.undock());
    QCOMPARE(state(), (QStringList{"吸附", "", ""}));
    QCOMPARE(dock.click(), DockSwitch::Action::Dock);
    QCOMPARE(state(), (QStringList{"悬停", "1", "docked"}));
    QCOMPARE(dock.click(), DockSwitch::Action::Undock);
    QCOMPARE(state(), (QStringList{"吸附", "0", ""}));
    QCOMPARE(dock.click(), DockSwitch::Action::Dock);
    QVERIFY(dock.undock());
    QCOMPARE(state(), (QStringList{"吸附", "0", ""}));
    QVERIFY(!dock.undock());
    QCOMPARE(state(), (QStringList{"吸附", "0", ""}));
    QCOMPARE(dock.click(), DockSwitch::Action::Dock);
    QCOMPARE(state(), (QStringList{"悬停", "1", "docked"}));
}

void TestDocking::chatInFrontBecomesTarget()
{
    DockRig rig;
    QVERIFY(rig.root.ok());
    // A QQ notice is no chat window, until its title makes it one.
    rig.desktop.setForeground(QqDialog);
    QCOMPARE(rig.targets.count(), 0);
    QCOMPARE(rig.readouts.count(), 1);
    QCOMPARE(rig.readouts.last(), QVariantList({"TXGuiFoundation", "提示"}));
    rig.desktop.addWindow(
        {QqDialog, "TXGuiFoundation", "张三", QRect(300, 300, 200, 100), true, false});
    emit rig.desktop.windowTitleChanged(QqDialog, "张三");
    QCOMPARE(rig.targets.count(), 1);
    QCOMPARE(rig.targets.last(), QVariantList({QVariant::fromValue(QqDialog), "qq"}));
    QCOMPARE(rig.readouts.last(), QVariantList({"TXGuiFoundation", "张三"}));

    rig.clearSpies();
    rig.desktop.setForeground(Chat);
    // Not docked yet: DockingOn is still empty and the panel stays where it is.
    QCOMPARE(rig.sent(), (QList<qsizetype>{1, 1, 0, 0}));
    QCOMPARE(rig.targets.last(), QVariantList({QVariant::fromValue(Chat), "weixin"}));
    QCOMPARE(rig.controller.target().window, Chat);
    QCOMPARE(rig.controller.target().kind, QStringLiteral("weixin"));
    QCOMPARE(rig.lastBar(), chatBar);
    QCOMPARE(rig.controller.dockingOn(), QString());
    QCOMPARE(rig.readouts.last(), QVariantList({"WeChatMainWndForPC", "微信"}));
    QCOMPARE(rig.controller.currentForeground().id, Chat);
}

void TestDocking::otherWindowsInFrontKeepTheTarget()
{
    DockRig rig;
    QVERIFY(rig.root.ok());
    rig.controller.setDocked(true);
    rig.chatInFront();
    for (const QString& title :
         {QStringLiteral("客服Tavro(Quillmate)"), QStringLiteral("知识库-底部查询-编辑"),
          QStringLiteral("QuillmateBottomQuery")}) {
        // Our own window, even if its class were a chat client's.
        rig.desktop.addWindow({Panel, "WeChatMainWndForPC", title, QRect(), true, false});
        rig.desktop.setForeground(Panel);
        QCOMPARE(rig.sent(), (QList<qsizetype>{0, 0, 0, 0}));
        QCOMPARE(rig.readouts.count(), 0);
        QCOMPARE(rig.controller.target().window, Chat);
        QCOMPARE(rig.controller.currentForeground().id, Chat);
        rig.desktop.setForeground(Chat);
    }

    // Another window keeps the target too, but is told of.
    rig.desktop.setForeground(QqDialog); // a QQ window, but not a conversation
    rig.desktop.setForeground(Editor);
    QCOMPARE(rig.sent(), (QList<qsizetype>{0, 0, 0, 0}));
    QCOMPARE(rig.controller.target().window, Chat);
    QCOMPARE(rig.readouts.count(), 2);
    QCOMPARE(rig.readouts.last(), QVariantList({"gedit", "notes.txt"}));

    // The target keeps being followed from behind.
    rig.desktop.moveWindow(Chat, chatFrame.translated(10, 0));
    QCOMPARE(rig.lastBar(), chatBar.translated(10, 0));
    QCOMPARE(rig.lastPanel(), chatPanelRight.translated(10, 0));
}

void TestDocking::panelFollowsOnlyWhenDocked()
{
    DockRig rig;
    QVERIFY(rig.root.ok());
    rig.chatInFront();
    rig.desktop.moveWindow(Chat, chatFrame.translated(0, 20));
    QCOMPARE(rig.bars.count(), 1);
    QCOMPARE(rig.panels.count(), 0);

    rig.controller.setDocked(true);
    QCOMPARE(rig.controller.dockingOn(), QStringLiteral("1"));
    QCOMPARE(rig.panel(), std::pair(qsizetype(1), chatPanelRight.translated(0, 20)));
    rig.desktop.moveWindow(Chat, chatFrame);
    QCOMPARE(rig.panel(), std::pair(qsizetype(2), chatPanelRight));

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
    QCOMPARE(rig.panel(), std::pair(qsizetype(4), chatPanelRight));

    // The side is read from the settings at every step.
    QVERIFY(rig.root.settings->setValue(Setting::XiFuMainShowPos, "1").ok());
    rig.desktop.moveWindow(Chat, chatFrame);
    QCOMPARE(rig.panel(), std::pair(qsizetype(5), chatPanelLeft));
}

void TestDocking::queryBarFlagOff()
{
    DockRig rig;
    QVERIFY(rig.root.ok());
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

// A row of hidden-targets.txt: the chat window's frame, whether visible and minimised.
void TestDocking::hiddenTarget()
{
    QFETCH(QStringList, row);
    const QList<int> f = numbersIn(row.value(1));
    QCOMPARE(f.size(), 4);
    const QRect frame(f[0], f[1], f[2], f[3]);
    const bool visible = row.value(2) == "1", minimized = row.value(3) == "1";
    DockRig rig;
    QVERIFY(rig.root.ok());
    rig.controller.setDocked(true);
    rig.chatInFront();

    rig.desktop.addWindow({Chat, "WeChatMainWndForPC", "微信", frame, visible, minimized});
    rig.desktop.setForeground(Editor);
    QCOMPARE(rig.sent(), (QList<qsizetype>{0, 0, 1, 0}));
    QCOMPARE(rig.controller.target().window, Chat);
    rig.desktop.moveWindow(Chat, frame);
    QCOMPARE(rig.sent(), (QList<qsizetype>{0, 0, 1, 0}));

    // Back where it was: the bar must be shown again although its rectangle is unchanged.
    rig.desktop.addWindow(weixinWindow());
    rig.desktop.setForeground(Chat);
    QCOMPARE(rig.sent(), (QList<qsizetype>{0, 1, 1, 0}));
    QCOMPARE(rig.lastBar(), chatBar);
}

void TestDocking::closedTargetIsDropped()
{
    DockRig rig;
    QVERIFY(rig.root.ok());
    rig.chatInFront();
    rig.desktop.close(Chat);
    rig.desktop.setForeground(Editor);
    QCOMPARE(rig.sent(), (QList<qsizetype>{1, 0, 1, 0}));
    QCOMPARE(rig.targets.last(), QVariantList({QVariant::fromValue(WindowId{0}), "empty"}));
    QCOMPARE(rig.controller.target().window, WindowId{0});

    // With no target there is nothing to place or hide.
    rig.controller.setDocked(true);
    rig.desktop.setForeground(QqDialog);
    QCOMPARE(rig.sent(), (QList<qsizetype>{1, 0, 1, 0}));
}

void TestDocking::samePlacementIsSentOnce()
{
    DockRig rig;
    QVERIFY(rig.root.ok());
    rig.controller.setDocked(true);
    rig.desktop.setForeground(Chat);
    QCOMPARE(rig.sent(), (QList<qsizetype>{1, 1, 0, 1}));
    rig.desktop.moveWindow(Chat, chatFrame);
    rig.desktop.moveWindow(Chat, chatFrame);
    rig.desktop.setForeground(Editor);
    rig.desktop.setForeground(Chat);
    // Idle: the fallback timer runs the step several times.
    QTest::qWait(5 * DockingController::FallbackIntervalMs);
    QCOMPARE(rig.sent(), (QList<qsizetype>{1, 1, 0, 1}));

    rig.controller.refresh();
    QCOMPARE(rig.sent(), (QList<qsizetype>{1, 2, 0, 2}));
    QCOMPARE(rig.lastPanel(), chatPanelRight);
}

void TestDocking::chatMovesUnreported_data()
{
    QTest::addColumn<bool>("eventDriven");
    QTest::newRow("events of other windows") << true;
    QTest::newRow("polling") << false;
}

// The chat window moves without the desktop reporting it. Driven by events, the fallback timer
// waits while other windows keep reporting moves, and catches up once they stop; polling finds
// the move meanwhile.
void TestDocking::chatMovesUnreported()
{
    QFETCH(bool, eventDriven);
    DockRig rig;
    QVERIFY(rig.root.ok());
    rig.controller.setEventDriven(eventDriven);
    rig.controller.setDocked(true);
    rig.chatInFront();
    rig.desktop.addWindow(weixinWindow(chatFrame.translated(30, 0)));
    for (int i = 0; i < 25 && rig.panels.count() == 0; ++i) {
        rig.desktop.moveWindow(Editor, QRect(i, 0, 500, 400));
        QTest::qWait(20);
    }
    QCOMPARE(rig.sent(), (QList<qsizetype>{0, eventDriven ? 0 : 1, 0, eventDriven ? 0 : 1}));
    QTRY_COMPARE_WITH_TIMEOUT(rig.panels.count(), 1, 1000);
    QCOMPARE(rig.lastPanel(), chatPanelRight.translated(30, 0));
    QCOMPARE(rig.lastBar(), chatBar.translated(30, 0));
}

void TestDocking::unavailableDesktopIsNotFollowed()
{
    DockRig rig(false);
    QVERIFY(rig.root.ok());
    QVERIFY(!rig.controller.isRunning());
    rig.desktop.setForeground(Chat);
    QTest::qWait(3 * DockingController::FallbackIntervalMs);
    QCOMPARE(rig.sent(), (QList<qsizetype>{0, 0, 0, 0}));
}

QTEST_MAIN(TestDocking)
#include "tst_docking.moc"
