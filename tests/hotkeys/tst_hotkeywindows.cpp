#include "hotkeys/HotKeyBox.h"
#include "hotkeys/HotKeyManager.h"
#include "hotkeys/HotKeyWindow.h"
#include "hotkeys/KnowledgePickModel.h"
#include "hotkeys/SelectContentWindow.h"
#include "platform/fake/FakeDesktop.h"
#include "send/InputWindow.h"
#include "send/Sender.h"
#include "send/TextComposer.h"
#include "support/Gui.h"
#include "support/TestRoot.h"

#include <QAbstractItemModelTester>
#include <QCheckBox>
#include <QClipboard>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QShortcut>
#include <QSignalSpy>

namespace {

const QString NL = TextComposer::lineBreak();

// Types Ctrl+Shift+A the way a keyboard sends it: each modifier goes down on its own first.
void typeCtrlShiftA(QWidget* box)
{
    const Qt::KeyboardModifiers both = Qt::ControlModifier | Qt::ShiftModifier;
    QTest::keyPress(box, Qt::Key_Control);
    QTest::keyPress(box, Qt::Key_Shift, Qt::ControlModifier);
    QTest::keyPress(box, Qt::Key_A, both);
    QTest::keyRelease(box, Qt::Key_A, both);
    QTest::keyRelease(box, Qt::Key_Shift);
    QTest::keyRelease(box, Qt::Key_Control);
}

std::pair<int, int> combination(const HotKeyBox* key)
{
    return {key->keyCode(), key->modKeyCode()};
}

// A data root with three knowledge entries, a chat window in front, the panel's sender, and a
// stand-in for the panel that holds the hot keys.
struct Rig {
    TestRoot root;
    FakeDesktop desktop;
    InputWindow input{desktop, {"客服Tavro(Quillmate)"}};
    Sender sender{*root.store, *root.settings, desktop, input, root.dir.path()};
    QWidget panel;
    HotKeyManager* keys = nullptr;
    qint64 k1 = 0, k2 = 0, k3 = 0;

    Rig()
    {
        k1 = root.add(Table::Knowledge, {{"name", "退货流程"}, {"description", "七天无理由"}});
        k2 = root.add(Table::Knowledge, {{"name", "发货时间"}, {"description", "48小时"}});
        k3 = root.add(Table::Knowledge, {{"name", "保修"}, {"description", "一年"}});
        desktop.addWindow({100, "ChatClient", "客户", QRect(0, 0, 800, 600), true, false});
        desktop.setForeground(100);
    }
    void setHotKey(int n, HotKeyField field, const QString& value)
    {
        QVERIFY(root.settings->setHotKey(n, field, value).ok());
    }
    HotKeyManager& start()
    {
        keys = new HotKeyManager(*root.settings, *root.store, desktop, sender, &panel);
        return *keys;
    }
    // The settings as a fresh start would read them.
    QString stored(int n, HotKeyField field) const
    {
        Settings fresh(root.configPath());
        if (!fresh.load().ok())
            qFatal("config.ini cannot be read");
        return fresh.hotKey(n, field);
    }
    QStringList storedAssignment(int n) const
    {
        QStringList values;
        for (HotKeyField f : {HotKeyField::Key, HotKeyField::KeyCode, HotKeyField::ModKeyCode,
                              HotKeyField::SendContent, HotKeyField::CaptionDescFlag})
            values << stored(n, f);
        return values;
    }
    QString ids(std::initializer_list<qint64> list) const
    {
        return HotKeyAssignments::joinIds(QList<qint64>(list));
    }
};

} // namespace

class TestHotKeyWindows : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { Dialogs::setRecording(true); }
    void init() { Dialogs::takeShown(); }

    void captureBoxTakesEveryKey();
    void registrationAndClashes();
    void panelKeysPasteTheirEntries();
    void hotKeyWindowRefusesCancelsAndSaves();
    void contentBoxesShowTitlesOrIds();
    void selectContentFiltersAndTakesAtMostTen();
};

void TestHotKeyWindows::captureBoxTakesEveryKey()
{
    FakeDesktop desktop;
    HotKeyBox box(desktop);
    box.setObjectName("K1");
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));
    QSignalSpy downs(&box, &HotKeyBox::keyDown);
    QSignalSpy ups(&box, &HotKeyBox::keyUp);

    // Qt does not count a modifier in the state of its own press; the box does.
    QTest::keyPress(&box, Qt::Key_Control);
    QCOMPARE(box.text(), "Ctrl + ");
    QCOMPARE(box.modKeyCode(), 2);
    QTest::keyRelease(&box, Qt::Key_Control);
    QCOMPARE(box.text(), "无");
    QCOMPARE(box.keyCode(), 0);
    QCOMPARE(box.modKeyCode(), 0);

    typeCtrlShiftA(&box);
    QCOMPARE(box.text(), "Ctrl + Shift + A");
    QCOMPARE(combination(&box), std::make_pair(0x41, 6));
    QCOMPARE(downs.last().at(0).toInt(), 0x41);
    QCOMPARE(ups.last().at(0).toInt(), 0x11);

    // Combinations the window would take as shortcuts are captured, and nothing is pasted.
    QShortcut shortcut(QKeySequence(Qt::CTRL | Qt::Key_S), &box);
    QSignalSpy shortcutUsed(&shortcut, &QShortcut::activated);
    QTest::keyClick(&box, Qt::Key_S, Qt::ControlModifier);
    QCOMPARE(box.text(), "Ctrl + S");
    QCOMPARE(shortcutUsed.size(), 0);
    QGuiApplication::clipboard()->setText("剪贴板里的字");
    QTest::keyClick(&box, Qt::Key_V, Qt::ControlModifier);
    QCOMPARE(box.text(), "Ctrl + V");
    QCOMPARE(combination(&box), std::make_pair(0x56, 2));

    QTest::keyClick(&box, Qt::Key_5, Qt::KeypadModifier);
    QCOMPARE(box.keyCode(), 0x65);
    QTest::keyClick(&box, Qt::Key_PageDown, Qt::AltModifier);
    QCOMPARE(box.text(), "Alt + Page Down");
    QCOMPARE(shownTexts(), QStringList());
}

void TestHotKeyWindows::registrationAndClashes()
{
    FakeDesktop desktop;
    QWidget window;
    auto* k1 = new HotKeyBox(desktop, &window);
    auto* k2 = new HotKeyBox(desktop, &window);
    k1->setObjectName("K1");
    k2->setObjectName("K2");
    QSignalSpy pressed(k1, &HotKeyBox::hotKeyPressed);
    QSignalSpy clashes(k2, &HotKeyBox::hotKeyClash);
    // K2 given a combination and switched on: what the dialogs said.
    const auto registerK2 = [&](const QString& text, int code, int mod) {
        k2->setCombination(text, code, mod);
        k2->setHotKeyEnabled(true);
        return shownTexts();
    };

    k1->setCombination("F1", 112, 0);
    k1->setHotKeyEnabled(true);
    QVERIFY(k1->hotKeyEnabled());
    QCOMPARE(desktop.hotKeys().value(k1->registrationId()), std::make_pair(112, 0));
    desktop.pressHotKey(k1->registrationId());
    desktop.pressHotKey(k2->registrationId());
    QCOMPARE(pressed.size(), 1);

    // Another control of the program holds the combination.
    QCOMPARE(registerK2("F1", 112, 0), QStringList{"K2热键冲突，请换一个热键。"});
    QVERIFY(!k2->hotKeyEnabled());
    QVERIFY(k2->clashed());
    QCOMPARE(clashes.size(), 1);
    QCOMPARE(k2->text(), "无");
    QCOMPARE(combination(k2), std::make_pair(0, 0));
    QVERIFY(k1->hotKeyEnabled());

    // No key to register.
    k2->setHotKeyEnabled(true);
    QCOMPARE(shownTexts(), QStringList{"K2未设置热键！"});
    QVERIFY(!k2->hotKeyEnabled());
    QVERIFY(!desktop.hotKeys().contains(k2->registrationId()));

    // Another program holds the combination.
    desktop.takeHotKey(0x41, 6);
    QCOMPARE(registerK2("Ctrl + Shift + A", 0x41, 6), QStringList{"K2热键冲突，请换一个热键。"});
    QCOMPARE(k2->text(), "无");
    // A refusal for any other cause is told as it is, not as a clash.
    desktop.setHotKeyFailure("当前键盘布局中没有这个键");
    QCOMPARE(registerK2("F2", 113, 0), QStringList{"K2热键无法注册：当前键盘布局中没有这个键"});
    QVERIFY(!k2->clashed());
    QCOMPARE(clashes.size(), 2);
    desktop.setHotKeyFailure({});
    QCOMPARE(registerK2("F2", 113, 0), QStringList());
    QVERIFY(k2->hotKeyEnabled());
    QVERIFY(!k2->clashed());

    // Editing gives the combination up.
    QTest::keyClick(k1, Qt::Key_F5);
    QVERIFY(!k1->hotKeyEnabled());
    QVERIFY(!desktop.hotKeys().contains(k1->registrationId()));
    desktop.pressHotKey(k1->registrationId());
    QCOMPARE(pressed.size(), 1);

    k2->setHotKeyEnabled(false);
    QVERIFY(desktop.hotKeys().isEmpty());
    k2->setHotKeyEnabled(true);
    delete k2;
    QVERIFY(desktop.hotKeys().isEmpty());
}

void TestHotKeyWindows::panelKeysPasteTheirEntries()
{
    Rig rig;
    QVERIFY(rig.root.ok());
    rig.setHotKey(2, HotKeyField::SendContent, rig.ids({rig.k2, rig.k1}));
    rig.setHotKey(2, HotKeyField::CaptionDescFlag, "1");
    rig.setHotKey(5, HotKeyField::Key, "无");
    rig.setHotKey(5, HotKeyField::KeyCode, "0");
    rig.setHotKey(5, HotKeyField::ModKeyCode, "0");
    QVERIFY(rig.root.settings->setValue(Setting::AddHotKeyEndNewLine, "0").ok());
    HotKeyManager& keys = rig.start();

    QCOMPARE(keys.control(1)->objectName(), "K1");
    QVERIFY(keys.control(1)->isHidden());
    QCOMPARE(keys.control(12)->text(), "Ctrl + F12");
    QCOMPARE(combination(keys.control(12)), std::make_pair(123, 2));
    QCOMPARE(keys.control(5)->text(), "无");
    QVERIFY(rig.desktop.hotKeys().isEmpty());

    keys.enableAll();
    QCOMPARE(rig.desktop.hotKeys().size(), 11);
    QVERIFY(!keys.control(5)->hotKeyEnabled());
    QCOMPARE(shownTexts(), QStringList());

    QSignalSpy done(&rig.sender, &Sender::pasteFinished);
    // Pressed for 80 ms, as people press keys; the paste goes where the agent types.
    rig.desktop.setForeground(100);
    rig.desktop.pressHotKey(keys.control(2)->registrationId(), 80);
    QTRY_COMPARE(done.size(), 1);
    QVERIFY2(done.first().at(0).toBool(), qPrintable(done.first().at(1).toString()));
    QCOMPARE(rig.desktop.pastes().size(), 1);
    QCOMPARE(rig.desktop.pastes().first().target, WindowId(100));
    QCOMPARE(rig.desktop.pastes().first().text,
             "退货流程" + NL + "七天无理由" + NL + NL + "发货时间" + NL + "48小时");

    // A key without content does nothing.
    rig.desktop.pressHotKey(keys.control(3)->registrationId());
    QVERIFY(!rig.sender.paste().isRunning());
    QCOMPARE(rig.desktop.pastes().size(), 1);

    keys.disableAll();
    QVERIFY(rig.desktop.hotKeys().isEmpty());

    // Without access to the desktop nothing is registered, and nobody is told again.
    Rig off;
    QVERIFY(off.root.ok());
    off.desktop.setUnavailable("Wayland");
    off.start().enableAll();
    QVERIFY(off.desktop.hotKeys().isEmpty());
    QCOMPARE(shownTexts(), QStringList());
}

void TestHotKeyWindows::hotKeyWindowRefusesCancelsAndSaves()
{
    Rig rig;
    QVERIFY(rig.root.ok());
    rig.setHotKey(1, HotKeyField::SendContent, rig.ids({rig.k1}));
    rig.setHotKey(1, HotKeyField::CaptionDescFlag, "1");
    rig.setHotKey(2, HotKeyField::SendContent, rig.ids({rig.k2}));
    rig.setHotKey(2, HotKeyField::CaptionDescFlag, "1");
    HotKeyManager& keys = rig.start();
    keys.enableAll();
    const auto registered = rig.desktop.hotKeys();
    QCOMPARE(registered.size(), 12);

    {
        HotKeyWindow window(keys);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));

        QTest::keyClick(window.captureBox(2), Qt::Key_F1);
        QCOMPARE(says(&window, "btnSave"), QStringList{"K2不能重复设置热键！"});
        QVERIFY(window.isVisible());
        QCOMPARE(rig.storedAssignment(2), (QStringList{"F2", "113", "0", rig.ids({rig.k2}), "1"}));

        click(&window, "btnRestoreDefault");
        for (int n = 1; n <= 12; ++n) {
            QCOMPARE(window.captureBox(n)->text(), QString("F%1").arg(n));
            QCOMPARE(combination(window.captureBox(n)), std::make_pair(111 + n, 0));
            QVERIFY(window.content(n).isEmpty());
        }
        QCOMPARE(child<QLineEdit>(&window, "T2")->text(), "");
        QVERIFY(!child<QCheckBox>(&window, "chkSendTitleAndDesc2")->isChecked());
        // Nothing is written until saved.
        QCOMPARE(rig.storedAssignment(12), (QStringList{"Ctrl + F12", "123", "2", "", "0"}));
        QCOMPARE(shownTexts(), QStringList());

        click(&window, "btnCancel");
        QCOMPARE(window.result(), int(QDialog::Rejected));
        QCOMPARE(rig.desktop.hotKeys(), registered);
        QCOMPARE(rig.storedAssignment(2), (QStringList{"F2", "113", "0", rig.ids({rig.k2}), "1"}));
    }

    {
        HotKeyWindow window(keys);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        // The panel's keys would swallow what is typed here.
        QVERIFY(rig.desktop.hotKeys().isEmpty());
        QCOMPARE(window.captureBox(12)->text(), "Ctrl + F12");
        QCOMPARE(window.content(1), QList<qint64>{rig.k1});
        QVERIFY(child<QCheckBox>(&window, "chkSendTitleAndDesc1")->isChecked());

        typeCtrlShiftA(window.captureBox(3));
        QTest::keyClick(window.captureBox(4), Qt::Key_Backspace);
        window.setContent(3, {rig.k3, rig.k2});
        child<QCheckBox>(&window, "chkSendTitleAndDesc3")->setChecked(true);
        child<QCheckBox>(&window, "chkSendTitleAndDesc1")->setChecked(false);
        QCOMPARE(says(&window, "btnSave"), (QStringList{"K4热键未设置！", "保存成功！"}));
        QCOMPARE(window.result(), int(QDialog::Accepted));
    }

    QCOMPARE(rig.storedAssignment(1),
             (QStringList{"F1", "112", "0", QString::number(rig.k1), "0"}));
    QCOMPARE(rig.storedAssignment(3),
             (QStringList{"Ctrl + Shift + A", "65", "6", rig.ids({rig.k3, rig.k2}), "1"}));
    QCOMPARE(rig.storedAssignment(4), (QStringList{"无", "0", "0", "", "0"}));
    QCOMPARE(rig.storedAssignment(12), (QStringList{"Ctrl + F12", "123", "2", "", "0"}));

    // The panel follows at once: new combinations registered, K4 left out, new contents.
    QCOMPARE(keys.control(3)->text(), "Ctrl + Shift + A");
    QCOMPARE(rig.desktop.hotKeys().value(keys.control(3)->registrationId()),
             std::make_pair(0x41, 6));
    QVERIFY(!keys.control(4)->hotKeyEnabled());
    QCOMPARE(rig.desktop.hotKeys().size(), 11);
    QCOMPARE(keys.assignments().content(2), rig.ids({rig.k3, rig.k2}));
    QVERIFY(!keys.assignments().captionFlag(0));

    QSignalSpy done(&rig.sender, &Sender::pasteFinished);
    rig.desktop.pressHotKey(keys.control(3)->registrationId());
    QTRY_COMPARE(done.size(), 1);
    QCOMPARE(rig.desktop.pastes().last().text,
             "发货时间" + NL + "48小时" + NL + NL + "保修" + NL + "一年");
}

void TestHotKeyWindows::contentBoxesShowTitlesOrIds()
{
    Rig rig;
    QVERIFY(rig.root.ok());
    const qint64 gone = rig.root.add(Table::Knowledge, {{"name", "旧"}});
    QVERIFY(rig.root.store->remove(Table::Knowledge, gone).ok());
    rig.setHotKey(1, HotKeyField::SendContent, rig.ids({rig.k2, gone, rig.k1}));
    HotKeyManager& keys = rig.start();
    {
        HotKeyWindow window(keys);
        auto* t1 = child<QLineEdit>(&window, "T1");
        QCOMPARE(t1->text(), QString("发货时间、%1(已删除)、退货流程").arg(gone));
        QCOMPARE(t1->toolTip(), rig.ids({rig.k2, gone, rig.k1}));
        window.setContent(1, {rig.k3});
        QCOMPARE(t1->text(), "保修");
    }
    QVERIFY(rig.root.settings->setValue(Setting::DefaultShowHotKeyContent, "0").ok());
    HotKeyWindow window(keys);
    QCOMPARE(child<QLineEdit>(&window, "T1")->text(), rig.ids({rig.k2, gone, rig.k1}));
}

namespace {

// Two big categories (and a company affair that must not be offered), three small ones, and
// thirteen entries: eleven under 华为, one under 小米, one under 冰箱.
struct Library {
    TestRoot root;
    qint64 phones = 0, appliances = 0, huawei = 0, xiaomi = 0, fridges = 0;
    QList<qint64> entries;

    Library()
    {
        phones = root.add(Table::Type, {{"name", "手机"}, {"itemid", 2}});
        appliances = root.add(Table::Type, {{"name", "家电"}, {"itemid", 2}});
        root.add(Table::Type, {{"name", "退货地址"}, {"itemid", 3}});
        huawei = root.add(Table::Goods, {{"name", "华为"}, {"typeid", phones}});
        xiaomi = root.add(Table::Goods, {{"name", "小米"}, {"typeid", phones}});
        fridges = root.add(Table::Goods, {{"name", "冰箱"}, {"typeid", appliances}});
        for (int i = 1; i <= 11; ++i)
            entries << root.add(
                Table::Knowledge,
                {{"name", QString("问题%1").arg(i)}, {"typeid", phones}, {"goodsid", huawei}});
        entries << root.add(
            Table::Knowledge,
            {{"name", "退货流程"}, {"typeid", phones}, {"goodsid", xiaomi}, {"commonflag", 1}});
        entries << root.add(Table::Knowledge,
                            {{"name", "冰箱保修"}, {"typeid", appliances}, {"goodsid", fridges}});
    }
};

void choose(QComboBox* box, const QString& text)
{
    const int index = box->findText(text);
    QVERIFY2(index >= 0, qPrintable(text));
    box->setCurrentIndex(index);
    emit box->activated(index);
}

QStringList titles(const KnowledgePickModel* model)
{
    QStringList out;
    for (int row = 0; row < model->rowCount(); ++row)
        out << model->index(row, KnowledgePickModel::Title).data().toString();
    return out;
}

} // namespace

void TestHotKeyWindows::selectContentFiltersAndTakesAtMostTen()
{
    Library lib;
    QVERIFY(lib.root.ok());
    SelectContentWindow window(*lib.root.store, {lib.entries.at(11)});
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    KnowledgePickModel* model = window.model();
    QAbstractItemModelTester tester(model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    auto* count = child<QLabel>(&window, "lblCount");
    auto* types = child<QComboBox>(&window, "cbGoodsType");
    auto* goods = child<QComboBox>(&window, "cbGoods");
    auto* title = child<QLineEdit>(&window, "txtTitle");

    QStringList headers;
    for (int c = 0; c < model->columnCount(); ++c)
        headers << model->headerData(c, Qt::Horizontal, Qt::DisplayRole).toString();
    QCOMPARE(headers, (QStringList{"编号", "知识标题", "所属大类", "所属小类", "常用"}));
    QCOMPARE(count->text(), "数量：13");
    QCOMPARE(title->placeholderText(), "请输入标题");
    QCOMPARE(comboItems(types), (QStringList{"请选择大类", "家电", "手机"}));
    QCOMPARE(comboItems(goods), QStringList{"请选择小类"});
    const int row = titles(model).indexOf("退货流程");
    QCOMPARE(model->index(row, KnowledgePickModel::Id).data().toLongLong(), lib.entries.at(11));
    QCOMPARE(model->index(row, KnowledgePickModel::BigCategory).data().toString(), "手机");
    QCOMPARE(model->index(row, KnowledgePickModel::SmallCategory).data().toString(), "小米");
    QCOMPARE(model->index(row, KnowledgePickModel::Common).data().toString(), "是");
    QCOMPARE(model->index(row, KnowledgePickModel::Id).data(Qt::CheckStateRole).toInt(),
             int(Qt::Checked));

    choose(types, "手机");
    QCOMPARE(comboItems(goods), (QStringList{"请选择小类", "华为", "小米"}));
    QCOMPARE(count->text(), "数量：12");
    choose(goods, "小米");
    QCOMPARE(titles(model), QStringList{"退货流程"});
    choose(types, "家电");
    QCOMPARE(comboItems(goods), (QStringList{"请选择小类", "冰箱"}));
    QCOMPARE(titles(model), QStringList{"冰箱保修"});

    // The title narrows within the categories chosen.
    choose(types, "手机");
    title->setText("问题1");
    choose(goods, "华为");
    QCOMPARE(titles(model), (QStringList{"问题1", "问题10", "问题11"}));

    // Typing searches titles and their pinyin in every category, as the query page does.
    title->clear();
    QTest::keyClicks(title, "bingxbx");
    QCOMPARE(titles(model), QStringList{"冰箱保修"});
    QCOMPARE(count->text(), "数量：1");
    title->clear();
    QTest::keyClicks(title, "THLC");
    QCOMPARE(titles(model), QStringList{"退货流程"});

    // A check survives the filter that hid its entry.
    QCOMPARE(model->checkedIds(), QList<qint64>{lib.entries.at(11)});

    // At most ten are taken, in list order whatever the order of checking.
    title->selectAll();
    QTest::keyClick(title, Qt::Key_Delete);
    QCOMPARE(count->text(), "数量：13");
    QVERIFY(model->setData(model->index(11, KnowledgePickModel::Id), Qt::Unchecked,
                           Qt::CheckStateRole));
    auto* checked = child<QLabel>(&window, "lblChecked");
    for (int i = 10; i >= 0; --i)
        QVERIFY(model->setData(model->index(i, KnowledgePickModel::Id), Qt::Checked,
                               Qt::CheckStateRole));
    QCOMPARE(checked->text(), "已选：11");
    QCOMPARE(says(&window, "btnOK"), QStringList{"最多只能选10条数据!"});
    QVERIFY(window.isVisible());
    QCOMPARE(window.result(), int(QDialog::Rejected));

    QVERIFY(
        model->setData(model->index(4, KnowledgePickModel::Id), Qt::Unchecked, Qt::CheckStateRole));
    QCOMPARE(says(&window, "btnOK"), QStringList());
    QCOMPARE(window.result(), int(QDialog::Accepted));
    QList<qint64> expected = lib.entries.mid(0, 11);
    expected.removeAt(4);
    QCOMPARE(window.chosen(), expected);
}

QTEST_MAIN(TestHotKeyWindows)
#include "tst_hotkeywindows.moc"
