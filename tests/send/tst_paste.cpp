// When and where a paste happens: the window it goes to, the keys the agent still holds, and the
// send key that must wait until the chat program has fetched the text.
#include "SendRig.h"
#include "support/FixtureRows.h"

#include <QClipboard>
#include <QGuiApplication>

namespace {

QList<KeyStroke> keys(std::initializer_list<std::pair<int, bool>> list)
{
    QList<KeyStroke> out;
    for (const auto& [vk, down] : list)
        out.append({vk, down});
    return out;
}

const QList<KeyStroke> CtrlV = keys({{0x11, true}, {0x56, true}, {0x56, false}, {0x11, false}});
const QList<KeyStroke> Enter = keys({{0x0D, true}, {0x0D, false}});
const QList<KeyStroke> CtrlEnter = keys({{0x11, true}, {0x0D, true}, {0x11, false}, {0x0D, false}});

constexpr WindowId OtherChat = 300;
constexpr WindowId Browser = 400;

} // namespace

class TestPaste : public QObject {
    Q_OBJECT
private slots:
    void keysPerSendKey_data() { fixtureData("send-keys.txt"); }
    void keysPerSendKey();
    void sendKeyWaitsUntilTheChatHasTheText_data() { fixtureData("clipboard-reads.txt"); }
    void sendKeyWaitsUntilTheChatHasTheText();
    void hotKeyPastesOnlyOnceLetGo();
    void pasteGoesWhereTheAgentIs();
    void aPasteBeingFetchedIsNotOverwritten();
    void aFailedStepSendsNothingAfterIt();
};

// A row of send-keys.txt: AutoPressSendKey and the combinations pressed.
void TestPaste::keysPerSendKey()
{
    QFETCH(QStringList, row);
    const QMap<QString, QList<KeyStroke>> named{
        {"CtrlV", CtrlV}, {"Enter", Enter}, {"CtrlEnter", CtrlEnter}};
    QList<KeyStroke> expected;
    for (const QString& name : row.mid(2)) {
        QVERIFY2(named.contains(name), qPrintable(name));
        expected << named.value(name);
    }
    SendRig rig;
    rig.set(Setting::AutoPressSendKey, row.value(1));
    rig.sender.sendText("亲，您好");
    QVERIFY(rig.waitForPaste(1));
    QVERIFY2(rig.pasted(1), qPrintable(rig.problem(1)));
    QCOMPARE(rig.desktop.keys(), expected);
    QCOMPARE(rig.desktop.pastes().size(), 1);
    QCOMPARE(rig.desktop.pastes().first().text, QStringLiteral("亲，您好"));
    QCOMPARE(rig.desktop.pastes().first().target, SendRig::Chat);
    QCOMPARE(rig.desktop.activations(), QList<WindowId>{SendRig::Chat});
}

// A row of clipboard-reads.txt: when and how the chat program fetches the text.
void TestPaste::sendKeyWaitsUntilTheChatHasTheText()
{
    QFETCH(QStringList, row);
    const bool ctrl = row.value(2) == "1";
    SendRig rig;
    rig.set(Setting::AutoPressSendKey, ctrl ? "1|CtrlEnter" : "1|Enter");
    rig.desktop.setReadDelay(row.value(1).toInt());
    rig.desktop.setReportsClipboardRequests(row.value(3) == "1");
    if (row.value(4).toInt() >= 0)
        rig.desktop.addClipboardWatcher(999, row.value(4).toInt());
    if (row.value(5) == "1")
        rig.desktop.setReadingClient(SendRig::Chat, 777);
    // Two pastes: a clipboard manager is recognised as such by its reads before the first
    // Ctrl+V, and the second paste must not suffer from it either.
    for (const QString& text : {QStringLiteral("亲，您好"), QStringLiteral("请稍等")}) {
        rig.sender.sendText(text);
        QVERIFY(rig.waitForPaste(rig.done.count() + 1));
        QVERIFY2(rig.pasted(rig.done.count()), qPrintable(rig.problem(rig.done.count())));
        const QList<FakeDesktop::Send> sends = rig.desktop.sends();
        QVERIFY(!sends.isEmpty());
        QCOMPARE(sends.last().target, SendRig::Chat);
        QCOMPARE(sends.last().text, text);
        QCOMPARE(sends.last().ctrl, ctrl);
    }
    QCOMPARE(rig.desktop.sends().size(), 2);
    QCOMPARE(rig.desktop.boxText(SendRig::Chat), QString());
}

void TestPaste::hotKeyPastesOnlyOnceLetGo()
{
    // While the agent holds the hot key, X11 gives every key to us: a Ctrl+V sent then is lost.
    SendRig rig;
    rig.set(Setting::AutoPressSendKey, "1|Enter");
    rig.desktop.setReadDelay(20);
    rig.desktop.setForeground(SendRig::Chat);
    QObject::connect(&rig.desktop, &Desktop::hotKeyPressed, &rig.sender, [&] {
        rig.sender.sendText(QStringLiteral("七天无理由退货"), PasteOrigin::HotKey);
    });
    for (const int holdMs : {60, 150, 400}) {
        rig.desktop.clearRecords();
        const int before = rig.done.count();
        rig.desktop.pressHotKey(1, holdMs);
        QTest::qWait(holdMs / 2);
        QVERIFY(rig.desktop.keys().isEmpty());
        QVERIFY(rig.waitForPaste(before + 1));
        QVERIFY2(rig.pasted(before + 1), qPrintable(rig.problem(before + 1)));
        QVERIFY(rig.desktop.swallowedKeys().isEmpty());
        QCOMPARE(rig.desktop.sends().size(), 1);
        QCOMPARE(rig.desktop.sends().first().text, QStringLiteral("七天无理由退货"));
        QVERIFY(rig.desktop.activations().isEmpty());
    }
    // Held with its modifiers: Alt and Shift still down after the key itself is let go.
    rig.desktop.clearRecords();
    rig.desktop.setHeldModifiers(ModifierMask::Alt | ModifierMask::Shift);
    rig.desktop.pressHotKey(1, 30);
    QTest::qWait(120);
    QVERIFY(rig.desktop.keys().isEmpty());
    rig.desktop.setHeldModifiers(0);
    QTRY_COMPARE(rig.desktop.sends().size(), 1);
    QVERIFY(rig.desktop.swallowedKeys().isEmpty());
}

void TestPaste::pasteGoesWhereTheAgentIs()
{
    SendRig rig;
    FakeDesktop& d = rig.desktop;
    InputWindow& in = rig.input;
    d.addWindow({OtherChat, "ChatClient", "客户 李四", QRect(), true, false});
    d.addWindow({Browser, "Browser", "订单查询", QRect(), true, false});
    // A window of this program under any title is never a target.
    d.addWindow(
        {500, "Quillmate", "知识查看", QRect(), true, false, QCoreApplication::applicationPid()});

    // Floating: the window the agent had in front before turning to the panel, also when the
    // desktop has not reported it yet.
    QCOMPARE(in.target(PasteOrigin::Panel), SendRig::Chat);
    d.setForegroundReportDelay(200);
    d.setForeground(Browser);
    QCOMPARE(in.target(PasteOrigin::Panel), Browser);
    d.setForegroundReportDelay(0);
    d.setForeground(500);
    QCOMPARE(in.target(PasteOrigin::Panel), Browser);

    // Docked to 李四 after 张三 was in front when 吸附 was clicked: 李四, and it stays 李四 while
    // the agent looks something up in the browser. The docked panel never takes the focus.
    d.setForeground(SendRig::Chat);
    d.setForeground(SendRig::Panel);
    in.setDocked(true);
    d.setForeground(OtherChat);
    in.setChatWindow(OtherChat);
    QCOMPARE(in.target(PasteOrigin::Panel), OtherChat);
    d.setForeground(Browser);
    QCOMPARE(in.target(PasteOrigin::Panel), OtherChat);
    // The bar sits on the chat window, docked or not.
    in.setDocked(false);
    QCOMPARE(in.target(PasteOrigin::QueryBar), OtherChat);
    QCOMPARE(in.target(PasteOrigin::Panel), Browser);

    // A hot key pastes where the agent types; from one of our windows, as the panel would.
    QCOMPARE(in.target(PasteOrigin::HotKey), Browser);
    d.setForeground(SendRig::Panel);
    QCOMPARE(in.target(PasteOrigin::HotKey), Browser);
    in.setDocked(true);
    QCOMPARE(in.target(PasteOrigin::HotKey), OtherChat);

    // A chat window that has gone is no target; with nothing left, there is none.
    d.removeWindow(OtherChat);
    QCOMPARE(in.target(PasteOrigin::Panel), Browser);
    d.removeWindow(Browser);
    d.removeWindow(SendRig::Chat);
    QCOMPARE(in.target(PasteOrigin::QueryBar), WindowId(0));
    rig.sender.sendText(QStringLiteral("你好"));
    QVERIFY(rig.waitForPaste(1));
    QVERIFY(!rig.pasted(1));
    QVERIFY(rig.problem(1).contains(QStringLiteral("没有找到要粘贴的聊天窗口")));
    QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("你好"));
    QVERIFY(d.keys().isEmpty());

    // The agent goes to another window while the paste waits for Ctrl to be let go: the chat
    // window is brought back before anything is typed.
    SendRig again;
    again.desktop.addWindow({Browser, "Browser", "订单查询", QRect(), true, false});
    again.desktop.setHeldModifiers(ModifierMask::Control);
    again.sender.sendText(QStringLiteral("稍等"));
    QTRY_COMPARE(again.desktop.foregroundWindow().id, SendRig::Chat);
    again.desktop.setForeground(Browser);
    again.desktop.setHeldModifiers(0);
    QVERIFY(again.waitForPaste(1));
    QVERIFY2(again.pasted(1), qPrintable(again.problem(1)));
    QCOMPARE(again.desktop.pastes().first().target, SendRig::Chat);
    QCOMPARE(again.desktop.activations(), (QList<WindowId>{SendRig::Chat, SendRig::Chat}));
}

void TestPaste::aPasteBeingFetchedIsNotOverwritten()
{
    SendRig rig;
    rig.set(Setting::AutoPressSendKey, "1|Enter");
    rig.desktop.setReadDelay(60);
    rig.sender.sendText(QStringLiteral("first"));
    // The second double-click comes while the chat program is still fetching the first text.
    QTRY_COMPARE(rig.desktop.keys(), CtrlV);
    QVERIFY(rig.desktop.pastes().isEmpty());
    rig.sender.sendText(QStringLiteral("second"));
    QVERIFY(rig.waitForPaste(2));
    QCOMPARE(rig.desktop.sends().size(), 2);
    QCOMPARE(rig.desktop.sends().at(0).text, QStringLiteral("first"));
    QCOMPARE(rig.desktop.sends().at(1).text, QStringLiteral("second"));

    // Before its Ctrl+V a waiting paste is simply replaced: only the latest arrives.
    rig.desktop.clearRecords();
    rig.desktop.setHeldModifiers(ModifierMask::Shift);
    rig.sender.sendText(QStringLiteral("old"));
    rig.sender.sendText(QStringLiteral("new"));
    rig.desktop.setHeldModifiers(0);
    QVERIFY(rig.waitForPaste(3));
    QTest::qWait(100);
    QCOMPARE(rig.desktop.pastes().size(), 1);
    QCOMPARE(rig.desktop.pastes().first().text, QStringLiteral("new"));
}

void TestPaste::aFailedStepSendsNothingAfterIt()
{
    SendRig rig;
    rig.set(Setting::AutoPressSendKey, "1|Enter");
    rig.sender.paste().setLimits({200, 100, 100, 150, 50, 5});
    QSignalSpy told(&rig.sender, &Sender::message);
    auto lastFailure = [&](int n, const QString& part) {
        if (!rig.waitForPaste(n) || rig.pasted(n) || !rig.problem(n).contains(part))
            return false;
        return !told.isEmpty() && told.last().at(0).toString() == rig.problem(n);
    };

    rig.desktop.setActivationDelay(-1); // the chat window never comes to the front
    rig.sender.sendText("x");
    QVERIFY(lastFailure(1, QStringLiteral("没有回到前台")));
    QVERIFY(rig.desktop.keys().isEmpty());

    rig.desktop.setActivationDelay(0);
    rig.desktop.setHeldModifiers(ModifierMask::Shift); // never let go
    rig.sender.sendText("y");
    QVERIFY(lastFailure(2, QStringLiteral("按键一直被按住")));
    QVERIFY(rig.desktop.keys().isEmpty());
    rig.desktop.setHeldModifiers(0);

    rig.desktop.setReadDelay(-1); // the chat program never takes the text
    rig.sender.sendText("z");
    QVERIFY(lastFailure(3, QStringLiteral("没有取走")));
    QCOMPARE(rig.desktop.keys(), CtrlV);

    // The agent clicked elsewhere between Ctrl+V and the fetch: no Enter into that window.
    rig.desktop.clearRecords();
    rig.desktop.addWindow({Browser, "Browser", "订单查询", QRect(), true, false});
    rig.desktop.setReadDelay(40);
    rig.sender.sendText("w");
    QTRY_COMPARE(rig.desktop.keys(), CtrlV);
    rig.desktop.setForeground(Browser);
    QVERIFY(lastFailure(4, QStringLiteral("不在前台")));
    QCOMPARE(rig.desktop.keys(), CtrlV);

    rig.desktop.setForeground(SendRig::Chat);
    rig.desktop.setKeysFailure(QStringLiteral("当前键盘布局中没有这个键"));
    rig.sender.sendText("v");
    QVERIFY(lastFailure(5, QStringLiteral("当前键盘布局中没有这个键")));

    // Where the desktop gives no access, the text waits on the clipboard and nobody is told
    // again: the agent heard why at start.
    SendRig off;
    off.desktop.setUnavailable(QStringLiteral("no access"));
    off.sender.setPastingEnabled(false);
    QSignalSpy offTold(&off.sender, &Sender::message);
    off.sender.sendText(QStringLiteral("手动粘贴"));
    QVERIFY(off.waitForPaste(1));
    QVERIFY(!off.pasted(1));
    QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("手动粘贴"));
    QVERIFY(offTold.isEmpty());
    QVERIFY(off.desktop.keys().isEmpty());
}

QTEST_MAIN(TestPaste)
#include "tst_paste.moc"
