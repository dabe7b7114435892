// The panel against stand-in chat clients on a real X server (Qt, GTK and Chromium, which fetch
// the clipboard the way real chat clients do): docking, pasting with a double-click as people
// make one, the send key, several chat windows, and the modifier keys the agent may still hold.
#include "StubChatProcess.h"
#include "data/SearchService.h"
#include "panel/BottomQueryBar.h"
#include "panel/EntryView.h"
#include "panel/ListPage.h"
#include "panel/PanelDocking.h"
#include "panel/PanelWindow.h"
#include "platform/DesktopFactory.h"
#include "send/Sender.h"
#include "support/TestRoot.h"
#include "widgets/Dialogs.h"

#include <QJsonObject>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>

namespace {

struct Rig {
    TestRoot root;
    std::unique_ptr<Desktop> desktop = createDesktop();
    SearchService search{*root.store, *root.settings};
    std::unique_ptr<PanelWindow> panel;
    qint64 phrase = 0;

    explicit Rig(const QList<std::pair<Setting, QString>>& settings = {})
    {
        root.set(settings);
        QVERIFY(root.ok());
        const qint64 type = root.add(Table::SimpleType, {{"name", "问候"}});
        phrase = root.add(Table::Simple, {{"name", "亲，您好！"}, {"typeid", type}});
        QVERIFY(desktop->isAvailable());
        panel = std::make_unique<PanelWindow>(root.services(search, *desktop));
        panel->show();
        QVERIFY(QTest::qWaitForWindowExposed(panel.get()));
        panel->startDocking();
    }

    // A real double-click, by the X server, on the first phrase of the phrase page.
    void doubleClickPhrase()
    {
        panel->selectTab(3);
        auto* view = panel->findChild<EntryView*>("lvSimple");
        // The page must be laid out and on screen before the X server clicks at it.
        QTRY_VERIFY_WITH_TIMEOUT(
            view->isVisible() && view->visualRect(view->model()->index(0, 2)).isValid(), 5000);
        QTest::qWait(150);
        const QRect cell = view->visualRect(view->model()->index(0, 2));
        clickAt(view->viewport()->mapToGlobal(cell.center()), 2);
    }

    // Clicks at a point of the screen with the button held and released as a person does.
    static void clickAt(const QPoint& at, int times = 1)
    {
        QVERIFY(xdotool({"mousemove", QString::number(at.x()), QString::number(at.y())}));
        QTest::qWait(100);
        for (int i = 0; i < times; ++i) {
            if (i > 0)
                QTest::qWait(60);
            QVERIFY(xdotool({"mousedown", "1"}));
            QTest::qWait(70);
            QVERIFY(xdotool({"mouseup", "1"}));
        }
    }

    static QPoint centreOf(QWidget* widget) { return widget->mapToGlobal(widget->rect().center()); }

    void activate(const StubChatProcess& chat)
    {
        QVERIFY(xdotool({"windowactivate", "--sync", QString::number(chat.window())}));
        QTRY_COMPARE_WITH_TIMEOUT(desktop->foregroundWindow().id, chat.window(), 5000);
    }

    void dock()
    {
        auto* button = panel->findChild<QPushButton*>("btnXiFu");
        if (!panel->docking()->dockSwitch().docked())
            button->click();
        QVERIFY(panel->docking()->dockSwitch().docked());
    }

    int overlap() const { return qRound(90 * panel->screen()->logicalDotsPerInch() / 1440); }
};

} // namespace

class TestPanelE2e : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { Dialogs::setRecording(true); }
    void docksRightAndLeftAndFollows();
    void pastesAPhraseAndSendsOnce_data();
    void pastesAPhraseAndSendsOnce();
    void pastesIntoTheDockedChatAmongSeveral_data();
    void pastesIntoTheDockedChatAmongSeveral();
    void waitsForHeldModifiers();
    void typingIntoThePanelWhileDocked();
};

void TestPanelE2e::docksRightAndLeftAndFollows()
{
    Rig rig;
    StubChatProcess chat("WeChatMainWndForPC", "微信", QRect(300, 100, 600, 500));
    QVERIFY(chat.start());
    rig.activate(chat);
    rig.dock();
    const int o = rig.overlap();
    QTRY_COMPARE_WITH_TIMEOUT(rig.panel->frameGeometry().left(),
                              rig.desktop->window(chat.window()).frame.right() + 1 - o, 5000);
    QCOMPARE(rig.panel->frameGeometry().top(), rig.desktop->window(chat.window()).frame.top() + o);

    // Moved and resized by the agent, who has the chat window in front: the panel goes with it.
    rig.activate(chat);
    QVERIFY(xdotool({"windowmove", "--sync", QString::number(chat.window()), "400", "150"}));
    QVERIFY(xdotool({"windowsize", "--sync", QString::number(chat.window()), "500", "620"}));
    QTRY_COMPARE_WITH_TIMEOUT(rig.panel->frameGeometry().left(),
                              rig.desktop->window(chat.window()).frame.right() + 1 - o, 5000);
    const QRect frame = rig.desktop->window(chat.window()).frame;
    QTRY_COMPARE_WITH_TIMEOUT(rig.panel->frameGeometry().height(), frame.height() - 2 * o, 5000);

    // On the left side.
    QVERIFY(rig.root.settings->setValue(Setting::XiFuMainShowPos, "1").ok());
    rig.panel->docking()->controller().refresh();
    QTRY_COMPARE_WITH_TIMEOUT(rig.panel->frameGeometry().left(),
                              frame.left() - rig.panel->width() + o, 5000);
}

void TestPanelE2e::pastesAPhraseAndSendsOnce_data()
{
    QTest::addColumn<StubChatProcess::Toolkit>("toolkit");
    QTest::addColumn<QString>("sendKey");
    QTest::addColumn<int>("enters");
    QTest::addColumn<bool>("ctrl");
    for (const auto toolkit : {StubChatProcess::Toolkit::Qt, StubChatProcess::Toolkit::Gtk,
                               StubChatProcess::Toolkit::Chromium}) {
        const QByteArray name = StubChatProcess::toolkitName(toolkit).toUtf8();
        QTest::newRow(name + ", no send key") << toolkit << "0|CtrlEnter" << 0 << false;
        QTest::newRow(name + ", Enter") << toolkit << "1|Enter" << 1 << false;
        QTest::newRow(name + ", Ctrl+Enter") << toolkit << "1|CtrlEnter" << 1 << true;
    }
}

void TestPanelE2e::pastesAPhraseAndSendsOnce()
{
    QFETCH(StubChatProcess::Toolkit, toolkit);
    QFETCH(QString, sendKey);
    QFETCH(int, enters);
    QFETCH(bool, ctrl);
    Rig rig({{Setting::AutoPressSendKey, sendKey}});
    StubChatProcess chat("WeChatMainWndForPC", "微信", QRect(200, 100, 600, 500), toolkit);
    QVERIFY(chat.start());
    rig.activate(chat);
    rig.dock();
    QSignalSpy pasted(&rig.panel->sender(), &Sender::pasteFinished);
    auto focusLosses = [&] {
        int n = 0;
        for (const QJsonObject& e : chat.events("active"))
            n += e.value("active").toBool() ? 0 : 1;
        return n;
    };
    const int lossesBefore = focusLosses();
    rig.doubleClickPhrase();
    QTRY_VERIFY_WITH_TIMEOUT(pasted.count() == 1, 8000);
    QVERIFY2(pasted.first().at(0).toBool(), qPrintable(pasted.first().at(1).toString()));
    // The send key comes after the text: it finds the text in the box.
    if (enters) {
        QTRY_COMPARE_WITH_TIMEOUT(chat.events("enter").size(), enters, 8000);
        QCOMPARE(chat.events("enter").first().value("ctrl").toBool(), ctrl);
        QCOMPARE(chat.events("enter").first().value("text").toString(), "亲，您好！\n");
    }
    QTRY_COMPARE_WITH_TIMEOUT(chat.text(), "亲，您好！\n", 8000);
    QTest::qWait(300);
    QCOMPARE(chat.events("enter").size(), enters);
    // Docked, a click into the panel's list never took the focus from the chat window.
    QCOMPARE(focusLosses(), lossesBefore);
    // No key is left pressed.
    QCOMPARE(rig.desktop->heldModifiers(), 0);
    const auto row = rig.root.store->row(Table::Simple, rig.phrase, {"usetime"});
    QCOMPARE(row.value()->value("usetime").toInt(), 1);
}

void TestPanelE2e::pastesIntoTheDockedChatAmongSeveral_data()
{
    QTest::addColumn<StubChatProcess::Toolkit>("first");
    QTest::addColumn<StubChatProcess::Toolkit>("second");
    QTest::newRow("GTK then Chromium")
        << StubChatProcess::Toolkit::Gtk << StubChatProcess::Toolkit::Chromium;
    QTest::newRow("Qt then GTK") << StubChatProcess::Toolkit::Qt << StubChatProcess::Toolkit::Gtk;
}

void TestPanelE2e::pastesIntoTheDockedChatAmongSeveral()
{
    // 微信 was in front when the agent docked; then the agent turned to 张三 and the panel went
    // with it. The answer is for 张三, and with the send key on, it is sent there.
    QFETCH(StubChatProcess::Toolkit, first);
    QFETCH(StubChatProcess::Toolkit, second);
    // The floating panel sits at the screen's edge; were it to hide there when the mouse goes
    // to 微信, 吸附 could not be clicked right after.
    Rig rig({{Setting::AutoPressSendKey, "1|Enter"}, {Setting::LeftAndRightHideMini, "0"}});
    StubChatProcess weixin("WeChatMainWndForPC", "微信", QRect(60, 80, 560, 420), first);
    StubChatProcess zhang("TXGuiFoundation", "张三", QRect(640, 380, 520, 420), second);
    QVERIFY(weixin.start());
    QVERIFY(zhang.start());
    // The agent clicks into the chats as they go from one to the other.
    rig.clickAt(weixin.geometry().center());
    QTRY_COMPARE_WITH_TIMEOUT(rig.desktop->foregroundWindow().id, weixin.window(), 5000);
    rig.clickAt(rig.centreOf(rig.panel->findChild<QPushButton*>("btnXiFu")));
    QTRY_VERIFY_WITH_TIMEOUT(rig.panel->docking()->dockSwitch().docked(), 5000);
    rig.clickAt(zhang.geometry().center());
    QTRY_COMPARE_WITH_TIMEOUT(rig.panel->docking()->controller().target().window, zhang.window(),
                              5000);
    QTRY_COMPARE_WITH_TIMEOUT(rig.panel->frameGeometry().left(),
                              rig.desktop->window(zhang.window()).frame.right() + 1 - rig.overlap(),
                              5000);

    rig.doubleClickPhrase();
    QTRY_COMPARE_WITH_TIMEOUT(zhang.events("enter").size(), 1, 8000);
    QCOMPARE(zhang.events("enter").first().value("text").toString(), "亲，您好！\n");
    QTest::qWait(300);
    QCOMPARE(weixin.text(), QString());
    QVERIFY(weixin.events("enter").isEmpty());
}

void TestPanelE2e::waitsForHeldModifiers()
{
    Rig rig;
    StubChatProcess chat("WeChatMainWndForPC", "微信", QRect(200, 100, 600, 500));
    QVERIFY(chat.start());
    rig.activate(chat);
    QSignalSpy pasted(&rig.panel->sender(), &Sender::pasteFinished);
    QVERIFY(xdotool({"keydown", "ctrl+alt"}));
    rig.panel->sender().sendText("稍等");
    QTest::qWait(700);
    QCOMPARE(chat.text(), QString());
    QVERIFY(xdotool({"keyup", "ctrl+alt"}));
    QTRY_VERIFY_WITH_TIMEOUT(!pasted.isEmpty(), 5000);
    QVERIFY2(pasted.first().at(0).toBool(), qPrintable(pasted.first().at(1).toString()));
    QTRY_COMPARE_WITH_TIMEOUT(chat.text(), "稍等", 5000);
    QCOMPARE(rig.desktop->heldModifiers(), 0);
}

void TestPanelE2e::typingIntoThePanelWhileDocked()
{
    Rig rig;
    StubChatProcess chat("WeChatMainWndForPC", "微信", QRect(200, 100, 600, 500));
    QVERIFY(chat.start());
    rig.activate(chat);
    rig.dock();
    rig.panel->selectTab(2);
    auto* box = rig.panel->findChild<QLineEdit*>("txtName");
    QTRY_VERIFY_WITH_TIMEOUT(box->isVisible(), 5000);
    QTest::qWait(150);
    rig.clickAt(rig.centreOf(box));
    QTRY_VERIFY_WITH_TIMEOUT(rig.panel->isActiveWindow(), 5000);
    QVERIFY(xdotool({"type", "--delay", "50", "th"}));
    QTRY_COMPARE_WITH_TIMEOUT(box->text(), "th", 5000);
    QCOMPARE(chat.text(), QString());
}

QTEST_MAIN(TestPanelE2e)
#include "tst_panel_e2e.moc"
