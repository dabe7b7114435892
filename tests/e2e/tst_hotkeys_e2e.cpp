// Global hot keys on a real X server, pressed as people press them (held 60 ms to a second,
// modifiers let go after the key): each press pastes its entries once into the stand-in chat
// client in front, the send key follows the text, also with NumLock on.
#include "StubChatProcess.h"
#include "data/SearchService.h"
#include "hotkeys/HotKeyBox.h"
#include "hotkeys/HotKeyManager.h"
#include "panel/PanelWindow.h"
#include "platform/DesktopFactory.h"
#include "send/Sender.h"
#include "support/TestRoot.h"
#include "widgets/Dialogs.h"

#include <QJsonObject>
#include <QTest>

namespace {

// Holds the keys for `holdMs`, then lets go of them in the reverse order, a little apart.
bool press(const QStringList& keys, int holdMs)
{
    if (!xdotool(QStringList{"keydown"} + keys))
        return false;
    QTest::qWait(holdMs);
    for (qsizetype i = keys.size() - 1; i >= 0; --i) {
        if (!xdotool({"keyup", keys.at(i)}))
            return false;
        QTest::qWait(30);
    }
    return true;
}

constexpr int F5 = 0x74;

} // namespace

class TestHotKeysE2e : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { Dialogs::setRecording(true); }
    void pressedKeyPastesItsEntries_data();
    void pressedKeyPastesItsEntries();
};

void TestHotKeysE2e::pressedKeyPastesItsEntries_data()
{
    QTest::addColumn<StubChatProcess::Toolkit>("toolkit");
    for (const auto toolkit : {StubChatProcess::Toolkit::Qt, StubChatProcess::Toolkit::Gtk,
                               StubChatProcess::Toolkit::Chromium})
        QTest::newRow(StubChatProcess::toolkitName(toolkit).toUtf8()) << toolkit;
}

void TestHotKeysE2e::pressedKeyPastesItsEntries()
{
    QFETCH(StubChatProcess::Toolkit, toolkit);
    TestRoot root;
    QVERIFY(root.ok());
    const qint64 entry =
        root.add(Table::Knowledge, {{"name", "退货"}, {"description", "七天无理由退货"}});
    // K1 keeps its bare F1, as most agents have it; K2 gets modifiers.
    QVERIFY(root.settings->setHotKey(2, HotKeyField::Key, "Alt + Shift + F5").ok());
    QVERIFY(root.settings->setHotKey(2, HotKeyField::KeyCode, QString::number(F5)).ok());
    QVERIFY(root.settings->setHotKey(2, HotKeyField::ModKeyCode, "5").ok());
    for (int n : {1, 2})
        QVERIFY(root.settings->setHotKey(n, HotKeyField::SendContent, QString::number(entry)).ok());
    root.set({{Setting::AddHotKeyEndNewLine, "0"}, {Setting::AutoPressSendKey, "1|Enter"}});

    std::unique_ptr<Desktop> desktop = createDesktop();
    QVERIFY(desktop->isAvailable());
    SearchService search(*root.store, *root.settings);
    PanelWindow panel(root.services(search, *desktop));
    panel.show();
    HotKeyManager& hotKeys = panel.hotKeys();
    hotKeys.enableAll();
    QVERIFY(hotKeys.control(1)->hotKeyEnabled() && hotKeys.control(2)->hotKeyEnabled());

    StubChatProcess chat("WeChatMainWndForPC", "微信", QRect(200, 100, 600, 500), toolkit);
    QVERIFY(chat.start());
    QVERIFY(xdotool({"windowactivate", "--sync", QString::number(chat.window())}));
    QTRY_COMPARE_WITH_TIMEOUT(desktop->foregroundWindow().id, chat.window(), 5000);

    // Each press sends the text once; Enter finds it in the box (the stand-in keeps the text
    // after Enter, so the box grows by one text per press).
    const QString text = "七天无理由退货";
    auto sentAfter = [&](int presses) {
        if (!QTest::qWaitFor([&] { return chat.events("enter").size() >= presses; }, 8000))
            return false;
        QTest::qWait(300);
        const QList<QJsonObject> enters = chat.events("enter");
        return enters.size() == presses &&
               enters.last().value("text").toString() == text.repeated(presses);
    };
    QVERIFY(press({"F1"}, 80));
    QVERIFY(sentAfter(1));
    QVERIFY(press({"F1"}, 150));
    QVERIFY(sentAfter(2));
    // Held for a second, the key repeats; it still pastes once.
    QVERIFY(press({"F1"}, 1000));
    QVERIFY(sentAfter(3));

    // NumLock on changes the modifier state the server reports; the key still works.
    QVERIFY(xdotool({"key", "Num_Lock"}));
    QVERIFY(press({"alt", "shift", "F5"}, 60));
    QVERIFY(sentAfter(4));
    QVERIFY(xdotool({"key", "Num_Lock"}));
    QCOMPARE(chat.text(), text.repeated(4));
    QTRY_COMPARE_WITH_TIMEOUT(desktop->heldModifiers(), 0, 3000);
    QVERIFY(Dialogs::takeShown().isEmpty());
}

QTEST_MAIN(TestHotKeysE2e)
#include "tst_hotkeys_e2e.moc"
