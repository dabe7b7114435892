#include "ModalDriver.h"
#include "data/DataRoot.h"
#include "support/Files.h"
#include "support/FixtureRows.h"
#include "support/Gui.h"
#include "support/ProgramRun.h"
#include "support/TestRoot.h"
#include "widgets/ConfirmWindow.h"
#include "widgets/Dialogs.h"
#include "widgets/MessageWindow.h"
#include "widgets/TitleBar.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <algorithm>

namespace {

const char* UnansweredVariable = "TST_DIALOGS_UNANSWERED";

bool anyWindowVisible()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    return std::any_of(windows.begin(), windows.end(), [](QWidget* w) { return w->isVisible(); });
}

QPushButton* button(QWidget* window, const char* name)
{
    return window->findChild<QPushButton*>(QLatin1String(name));
}

QString titleText(QWidget* window)
{
    auto* title = window->findChild<QLabel*>("lblTitle");
    return title ? title->text() : QString();
}

// Closes a shown window the way the test row says: a button's name, "close" or "escape".
void finish(QDialog& window, const QString& how)
{
    if (how == QLatin1String("close")) {
        window.close();
    } else if (how == QLatin1String("escape")) {
        QTest::keyClick(&window, Qt::Key_Escape);
    } else {
        click(&window, how == QLatin1String("title close") ? QString("btnTitleClose") : how);
    }
}

} // namespace

class TestDialogs : public QObject {
    Q_OBJECT
private slots:
    void cleanup();

    // recording
    void recordingShowsNoWindowAndAnswersInOrder();
    void confirmRecordsItsPromptSound();
    void unansweredQuestionEndsTheProgram();

    // the real windows
    void windowsAnswer_data() { fixtureData("answers.txt"); }
    void windowsAnswer();
    void windowsShowTheirCaptionAndText();
    void entryPointsShowModalWindows();
};

void TestDialogs::cleanup()
{
    Dialogs::setRecording(false);
    Dialogs::configure(nullptr, DataRoot(QString()));
}

void TestDialogs::recordingShowsNoWindowAndAnswersInOrder()
{
    Dialogs::queueAnswer(true);
    Dialogs::queueAnswer(false);
    Dialogs::queueAnswer(false);
    Dialogs::queueAnswer(true);
    QVERIFY(Dialogs::isRecording());

    Dialogs::message(nullptr, "保存成功！");
    QCOMPARE(Dialogs::askYesNo(nullptr, "您确认要退出吗？"), true);
    QCOMPARE(Dialogs::askYesNo(nullptr, "删除吗？", "删除"), false);
    Dialogs::message(nullptr, "文件不存在", "打开文件");
    QCOMPARE(Dialogs::confirm(nullptr, "确定要删除该分类吗？"), false);
    QCOMPARE(Dialogs::confirm(nullptr), true);
    QCOMPARE(Dialogs::queuedAnswers(), 0);
    QVERIFY(!anyWindowVisible());

    // Each as "kind caption: text".
    QStringList shown;
    for (const ShownDialog& d : Dialogs::takeShown())
        shown << QStringList{"message", "question", "confirm"}.at(int(d.kind)) + ' ' + d.caption +
                     ": " + d.text;
    QCOMPARE(shown,
             (QStringList{"message 客服Tavro: 保存成功！", "question 客服Tavro: 您确认要退出吗？",
                          "question 删除: 删除吗？", "message 打开文件: 文件不存在",
                          "confirm 客服Tavro: 确定要删除该分类吗？",
                          "confirm 客服Tavro: 您确认要退出吗？"}));
    QVERIFY(Dialogs::takeShown().isEmpty());

    // Switching recording off and on forgets the answers and what was shown.
    Dialogs::queueAnswer(true);
    Dialogs::message(nullptr, "x");
    Dialogs::setRecording(false);
    QVERIFY(!Dialogs::isRecording());
    QCOMPARE(Dialogs::queuedAnswers(), 0);
    Dialogs::setRecording(true);
    QVERIFY(Dialogs::takeShown().isEmpty());
}

void TestDialogs::confirmRecordsItsPromptSound()
{
    TestRoot root(false);
    QVERIFY(root.ok());
    const DataRoot dataRoot(root.dir.path());
    const QString sound = dataRoot.filePath("sound.wav");
    QVERIFY(writeBytes(sound, {}));
    Dialogs::configure(root.settings.get(), dataRoot);

    QVERIFY(root.settings->setValue(Setting::MessageSound, "1").ok());
    Dialogs::queueAnswer(true);
    Dialogs::confirm(nullptr, "确定？");
    QVERIFY(root.settings->setValue(Setting::MessageSound, "0").ok());
    Dialogs::queueAnswer(true);
    Dialogs::confirm(nullptr, "确定？");
    // Questions in the message window stay silent.
    QVERIFY(root.settings->setValue(Setting::MessageSound, "1").ok());
    Dialogs::queueAnswer(true);
    Dialogs::askYesNo(nullptr, "确定？");

    const QList<ShownDialog> shown = Dialogs::takeShown();
    QCOMPARE(shown.size(), 3);
    QCOMPARE(shown[0].sound, sound);
    QCOMPARE(shown[1].sound, QString());
    QCOMPARE(shown[2].sound, QString());
}

void TestDialogs::unansweredQuestionEndsTheProgram()
{
    // The question is asked in a child process (see main), where it must end the program.
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QLatin1String(UnansweredVariable), "1");
    const ProgramRun run = runProgram(QCoreApplication::applicationFilePath(), {}, env);
    QVERIFY2(run.code != -1, "a question without an answer blocked");
    QVERIFY(run.code != 0);
    QVERIFY(run.err.contains("no answer queued"));
}

// A row of answers.txt: the window, how it is closed, whether that is a yes.
void TestDialogs::windowsAnswer()
{
    QFETCH(QStringList, row);
    const QString window = row.value(1);
    const bool yes = row.value(3) == "1";
    const bool yesNo = window == "yes no";
    ConfirmWindow confirm(nullptr, "确定要删除该知识吗？");
    MessageWindow message(nullptr, "您确认要退出吗？", {},
                          yesNo ? MessageWindow::Buttons::YesNo : MessageWindow::Buttons::Ok);
    QDialog& shown = window == "confirm" ? static_cast<QDialog&>(confirm) : message;
    shown.show();
    QVERIFY(QTest::qWaitForWindowExposed(&shown));
    if (&shown == &message) {
        QCOMPARE(button(&message, "btnOK") != nullptr, !yesNo);
        QCOMPARE(button(&message, "btnYes") != nullptr, yesNo);
        QCOMPARE(button(&message, "btnNo") != nullptr, yesNo);
    }
    shown.setResult(-1); // neither answer until the window gives one
    finish(shown, row.value(2));

    QVERIFY(!shown.isVisible());
    QCOMPARE(shown.result(), yes ? int(QDialog::Accepted) : int(QDialog::Rejected));
    QCOMPARE(&shown == &confirm ? confirm.yes() : message.yes(), yes);
}

void TestDialogs::windowsShowTheirCaptionAndText()
{
    ConfirmWindow confirm(nullptr);
    QCOMPARE(confirm.question(), "您确认要退出吗？");
    QCOMPARE(confirm.findChild<QLabel*>("lblQuestion")->text(), confirm.question());
    QCOMPARE(titleText(&confirm), "客服Tavro");
    // Enter confirms.
    QVERIFY(button(&confirm, "btnComfirm")->isDefault());

    MessageWindow plain(nullptr, "已复制到剪贴板");
    QCOMPARE(titleText(&plain), "客服Tavro");
    QCOMPARE(plain.windowTitle(), "客服Tavro");

    MessageWindow captioned(nullptr, "<b>1</b>", "导入");
    QCOMPARE(titleText(&captioned), "导入");
    // Texts from the data are shown as they are, never as markup.
    auto* text = captioned.findChild<QLabel*>("lblMessage");
    QCOMPARE(text->text(), "<b>1</b>");
    QCOMPARE(text->textFormat(), Qt::PlainText);
}

void TestDialogs::entryPointsShowModalWindows()
{
    QVERIFY(!Dialogs::isRecording());
    // Each: the window it shows, the label read there and what it says, the button pressed, and
    // the answer that gives.
    const struct {
        const char* window;
        const char* label;
        QString text;
        const char* button;
        std::function<bool()> ask;
        bool answer;
    } cases[] = {
        {"frmComfirm", "lblQuestion", "清空回收站吗？", "btnComfirm",
         [] { return Dialogs::confirm(nullptr, "清空回收站吗？"); }, true},
        {"frmMessage", "lblTitle", "退出", "btnNo",
         [] { return Dialogs::askYesNo(nullptr, "退出吗？", "退出"); }, false},
        {"frmMessage", "lblMessage", "保存成功！", "btnOK",
         [] {
             Dialogs::message(nullptr, "保存成功！");
             return true;
         },
         true},
    };
    for (const auto& c : cases) {
        QString seen;
        ModalDriver driver(c.window, [&](QWidget* w) {
            seen = w->findChild<QLabel*>(c.label)->text();
            click(w, c.button);
        });
        QCOMPARE(c.ask(), c.answer);
        QVERIFY(driver.acted() && !driver.timedOut() && driver.wasModal());
        QCOMPARE(seen, c.text);
    }
}

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    if (qEnvironmentVariableIsSet(UnansweredVariable)) {
        Dialogs::setRecording(true);
        Dialogs::confirm(nullptr, "没有准备答案的问题");
        return 0; // reached only when the question failed to end the program
    }
    TestDialogs test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_dialogs.moc"
