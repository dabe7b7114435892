// The panel against a stub chat client on a real X server: docking, pasting, the send key and
// the modifier keys the agent may still be holding.
#include "BottomQueryBar.h"
#include "DesktopFactory.h"
#include "Dialogs.h"
#include "EntryView.h"
#include "ListPage.h"
#include "PanelDocking.h"
#include "PanelWindow.h"
#include "SearchService.h"
#include "Sender.h"
#include "StubChatProcess.h"
#include "TestRoot.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <algorithm>

namespace {

bool xdotool(const QStringList& args)
{
    QProcess p;
    p.start(QStringLiteral("xdotool"), args);
    return p.waitForFinished(10000) && p.exitCode() == 0;
}

struct Rig {
    TestRoot root;
    std::unique_ptr<Desktop> desktop = createDesktop();
    std::unique_ptr<SearchService> search;
    std::unique_ptr<PanelWindow> panel;
    qint64 phrase = 0;

    explicit Rig(const QList<std::pair<Setting, QString>>& settings = {})
    {
        for (const auto& [s, v] : settings)
            QVERIFY(root.settings->setValue(s, v).ok());
        const qint64 type = root.add(Table::SimpleType, {{"name", "问候"}});
        phrase = root.add(Table::Simple, {{"name", "亲，您好！"}, {"typeid", type}});
        QVERIFY(desktop->isAvailable());
        search = std::make_unique<SearchService>(*root.store, *root.settings);
        panel = std::make_unique<PanelWindow>(PanelContext{DataRoot(root.dir.path()),
                                                           *root.settings,
                                                           *root.store,
                                                           *search,
                                                           *desktop,
                                                           {"tester", true}});
        panel->show();
        QVERIFY(QTest::qWaitForWindowExposed(panel.get()));
        panel->startDocking();
    }

    // A real double-click, by the X server, on the first phrase of the phrase page.
    void doubleClickPhrase()
    {
        panel->selectTab(3);
        auto* view = panel->findChild<EntryView*>(QStringLiteral("lvSimple"));
        // The page must be laid out and on screen before the X server clicks at it.
        QTRY_VERIFY_WITH_TIMEOUT(
            view->isVisible() && view->visualRect(view->model()->index(0, 2)).isValid(), 5000);
        QTest::qWait(150);
        const QRect cell = view->visualRect(view->model()->index(0, 2));
        const QPoint at = view->viewport()->mapToGlobal(cell.center());
        QVERIFY(xdotool({"mousemove", QString::number(at.x()), QString::number(at.y())}));
        QTest::qWait(100);
        QVERIFY(xdotool({"click", "--repeat", "2", "--delay", "60", "1"}));
    }

    void activate(const StubChatProcess& chat)
    {
        QVERIFY(xdotool({"windowactivate", "--sync", QString::number(chat.window())}));
        QTRY_COMPARE_WITH_TIMEOUT(desktop->foregroundWindow().id, chat.window(), 5000);
    }

    void dock()
    {
        auto* button = panel->findChild<QPushButton*>(QStringLiteral("btnXiFu"));
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
    void ignoresWindowsThatAreNotChats();
    void pastesAPhraseAndSendsOnce_data();
    void pastesAPhraseAndSendsOnce();
    void waitsForHeldModifiers();
    void typingIntoThePanelWhileDocked();
    void barHidesWithTheMinimisedChat();
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

void TestPanelE2e::ignoresWindowsThatAreNotChats()
{
    Rig rig;
    StubChatProcess other("SomeEditor", "微信", QRect(300, 100, 600, 500));
    StubChatProcess wrongTitle("WeChatMainWndForPC", "文件传输助手", QRect(300, 100, 600, 500));
    QVERIFY(other.start());
    QVERIFY(wrongTitle.start());
    rig.dock();
    const QRect before = rig.panel->frameGeometry();
    rig.activate(other);
    rig.activate(wrongTitle);
    QTest::qWait(300);
    QCOMPARE(rig.panel->frameGeometry(), before);
    QCOMPARE(rig.panel->docking()->controller().target().window, WindowId(0));
    QVERIFY(!rig.panel->docking()->bar()->isVisible());
}

void TestPanelE2e::pastesAPhraseAndSendsOnce_data()
{
    QTest::addColumn<QString>("sendKey");
    QTest::addColumn<int>("enters");
    QTest::addColumn<bool>("ctrl");
    QTest::newRow("no send key") << "0|CtrlEnter" << 0 << false;
    QTest::newRow("Enter") << "1|Enter" << 1 << false;
    QTest::newRow("Ctrl+Enter") << "1|CtrlEnter" << 1 << true;
}

void TestPanelE2e::pastesAPhraseAndSendsOnce()
{
    QFETCH(QString, sendKey);
    QFETCH(int, enters);
    QFETCH(bool, ctrl);
    Rig rig({{Setting::AutoPressSendKey, sendKey}});
    StubChatProcess chat("WeChatMainWndForPC", "微信", QRect(200, 100, 600, 500));
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
    QTRY_COMPARE_WITH_TIMEOUT(chat.text(), QStringLiteral("亲，您好！\n"), 8000);
    QTest::qWait(300);
    const QList<QJsonObject> sent = chat.events("enter");
    QCOMPARE(sent.size(), enters);
    if (enters) {
        QCOMPARE(sent.first().value("ctrl").toBool(), ctrl);
        QCOMPARE(sent.first().value("text").toString(), QStringLiteral("亲，您好！\n"));
    }
    // Docked, a click into the panel's list never took the focus from the chat window.
    QCOMPARE(focusLosses(), lossesBefore);
    // No key is left pressed.
    QCOMPARE(rig.desktop->heldModifiers(), 0);
    QCOMPARE(rig.root.store->row(Table::Simple, rig.phrase, {"usetime"})
                 .value()
                 ->value("usetime")
                 .toInt(),
             1);
}

void TestPanelE2e::waitsForHeldModifiers()
{
    Rig rig;
    StubChatProcess chat("WeChatMainWndForPC", "微信", QRect(200, 100, 600, 500));
    QVERIFY(chat.start());
    rig.activate(chat);
    QVERIFY(xdotool({"keydown", "ctrl+alt"}));
    rig.panel->sender().sendText(QStringLiteral("稍等"));
    QTest::qWait(700);
    QCOMPARE(chat.text(), QString());
    QVERIFY(xdotool({"keyup", "ctrl+alt"}));
    QTRY_COMPARE_WITH_TIMEOUT(chat.text(), QStringLiteral("稍等"), 5000);
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
    auto* box = rig.panel->findChild<QLineEdit*>(QStringLiteral("txtName"));
    QTRY_VERIFY_WITH_TIMEOUT(box->isVisible(), 5000);
    QTest::qWait(150);
    const QPoint at = box->mapToGlobal(box->rect().center());
    QVERIFY(xdotool({"mousemove", QString::number(at.x()), QString::number(at.y())}));
    QTest::qWait(100);
    QVERIFY(xdotool({"click", "1"}));
    QTRY_VERIFY_WITH_TIMEOUT(rig.panel->isActiveWindow(), 5000);
    QVERIFY(xdotool({"type", "--delay", "50", "th"}));
    QTRY_COMPARE_WITH_TIMEOUT(box->text(), QStringLiteral("th"), 5000);
    QCOMPARE(chat.text(), QString());
}

void TestPanelE2e::barHidesWithTheMinimisedChat()
{
    Rig rig;
    StubChatProcess chat("WeChatMainWndForPC", "微信", QRect(200, 100, 600, 500));
    QVERIFY(chat.start());
    rig.activate(chat);
    QTRY_VERIFY_WITH_TIMEOUT(rig.panel->docking()->bar()->isVisible(), 5000);
    QVERIFY(xdotool({"windowminimize", "--sync", QString::number(chat.window())}));
    QTRY_VERIFY_WITH_TIMEOUT(!rig.panel->docking()->bar()->isVisible(), 5000);
}

QTEST_MAIN(TestPanelE2e)
#include "tst_panel_e2e.moc"
