// Global hot keys on a real X server: a key pressed with xdotool pastes its entries into the
// stub chat client, also with NumLock on, and a combination another client holds is reported.
#include "DesktopFactory.h"
#include "Dialogs.h"
#include "HotKeyManager.h"
#include "PanelWindow.h"
#include "RKHotKey.h"
#include "SearchService.h"
#include "Sender.h"
#include "StubChatProcess.h"
#include "TestRoot.h"

#include <QProcess>
#include <QTest>

namespace {

bool xdotool(const QStringList& args)
{
    QProcess p;
    p.start(QStringLiteral("xdotool"), args);
    return p.waitForFinished(10000) && p.exitCode() == 0;
}

constexpr int F5 = 0x74;
constexpr int F6 = 0x75;

} // namespace

class TestHotKeysE2e : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { Dialogs::setRecording(true); }
    void pressedKeyPastesItsEntries();
    void takenCombinationIsReported();
};

void TestHotKeysE2e::pressedKeyPastesItsEntries()
{
    TestRoot root;
    const qint64 entry =
        root.add(Table::Knowledge, {{"name", "退货"}, {"description", "七天无理由退货"}});
    QVERIFY(root.settings->setHotKey(1, HotKeyField::Key, "Alt + Shift + F5").ok());
    QVERIFY(root.settings->setHotKey(1, HotKeyField::KeyCode, QString::number(F5)).ok());
    QVERIFY(root.settings->setHotKey(1, HotKeyField::ModKeyCode, "5").ok());
    QVERIFY(root.settings->setHotKey(1, HotKeyField::SendContent, QString::number(entry)).ok());
    QVERIFY(root.settings->setValue(Setting::AddHotKeyEndNewLine, "0").ok());

    std::unique_ptr<Desktop> desktop = createDesktop();
    QVERIFY(desktop->isAvailable());
    SearchService search(*root.store, *root.settings);
    PanelWindow panel({DataRoot(root.dir.path()),
                       *root.settings,
                       *root.store,
                       search,
                       *desktop,
                       {"tester", true}});
    panel.show();
    HotKeyManager hotKeys(*root.settings, *root.store, *desktop, panel.sender(), &panel);
    hotKeys.enableAll();
    QVERIFY(!hotKeys.control(1)->clashed());

    StubChatProcess chat("WeChatMainWndForPC", "微信", QRect(200, 100, 600, 500));
    QVERIFY(chat.start());
    QVERIFY(xdotool({"windowactivate", "--sync", QString::number(chat.window())}));
    QTRY_COMPARE_WITH_TIMEOUT(desktop->foregroundWindow().id, chat.window(), 5000);

    QVERIFY(xdotool({"key", "alt+shift+F5"}));
    QTRY_COMPARE_WITH_TIMEOUT(chat.text(), QStringLiteral("七天无理由退货"), 8000);

    // NumLock on changes the modifier state the server reports; the key still works.
    QVERIFY(xdotool({"key", "Num_Lock"}));
    QVERIFY(xdotool({"key", "alt+shift+F5"}));
    QTRY_COMPARE_WITH_TIMEOUT(chat.text(), QStringLiteral("七天无理由退货七天无理由退货"), 8000);
    QVERIFY(xdotool({"key", "Num_Lock"}));
    QTRY_COMPARE_WITH_TIMEOUT(desktop->heldModifiers(), 0, 3000);
    QVERIFY(Dialogs::takeShown().isEmpty());
}

void TestHotKeysE2e::takenCombinationIsReported()
{
    QProcess holder;
    holder.start(QCoreApplication::applicationDirPath() + QStringLiteral("/hotkey_holder"),
                 {QString::number(F6), QStringLiteral("5")});
    QVERIFY(holder.waitForReadyRead(10000));
    QCOMPARE(holder.readLine().trimmed(), QByteArray("registered"));

    TestRoot root;
    QVERIFY(root.settings->setHotKey(2, HotKeyField::Key, "Alt + Shift + F6").ok());
    QVERIFY(root.settings->setHotKey(2, HotKeyField::KeyCode, QString::number(F6)).ok());
    QVERIFY(root.settings->setHotKey(2, HotKeyField::ModKeyCode, "5").ok());
    std::unique_ptr<Desktop> desktop = createDesktop();
    SearchService search(*root.store, *root.settings);
    PanelWindow panel({DataRoot(root.dir.path()),
                       *root.settings,
                       *root.store,
                       search,
                       *desktop,
                       {"tester", true}});
    HotKeyManager hotKeys(*root.settings, *root.store, *desktop, panel.sender(), &panel);
    hotKeys.enableAll();
    QVERIFY(hotKeys.control(2)->clashed());
    bool reported = false;
    for (const ShownDialog& d : Dialogs::takeShown())
        reported = reported || d.text.contains(QStringLiteral("K2热键冲突，请换一个热键。"));
    QVERIFY(reported);
    holder.closeWriteChannel();
    QVERIFY(holder.waitForFinished(10000));
}

QTEST_MAIN(TestHotKeysE2e)
#include "tst_hotkeys_e2e.moc"
