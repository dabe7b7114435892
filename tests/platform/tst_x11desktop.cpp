#include "XProbe.h"
#include "e2e/StubChatProcess.h"
#include "platform/DesktopFactory.h"
#include "support/FixtureRows.h"

#include <QDebug>
#include <QGuiApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

// The X11 desktop against a real X server with a window manager (run-under-x.sh): two stub chat
// windows to bring forward, move, rename, minimise and type into; xdotool plays the user at the
// keyboard; hotkey_holder is another program that wants the same hot keys.
class TestX11Desktop : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void foregroundFollowsActivation();
    void reportsMovesAndResizes();
    void reportsTitleChanges();
    void readsWindowsThatOnlyHaveLegacyNames();
    void reportsMinimisedWindows();
    void typesIntoTheForegroundWindowOrNothing();
    void heldModifiersFollowTheKeyboard();
    void hotKeyFiresOncePerPress_data() { fixtureData("lock-keys.txt"); }
    void hotKeyFiresOncePerPress();
    void hotKeyFollowsKeyboardMappingChanges();
    void hotKeyHeldByAnotherProgramIsRefused();
    void hotKeyIsRegisteredOnceAndOnlyWhereItCanFire();
    void vanishedWindowsAndFilesAreInvalid();

private:
    bool bringToFront(const StubChatProcess& stub);
    static QList<KeyStroke> press(int virtualKey, int withModifier = 0);

    std::unique_ptr<Desktop> m_desktop;
    std::unique_ptr<StubChatProcess> m_a;
    std::unique_ptr<StubChatProcess> m_b;
    std::unique_ptr<QSignalSpy> m_problems;
    XProbe m_probe;
};

namespace {

constexpr int F7 = 0x76;
constexpr int F8 = 0x77;
constexpr int F9 = 0x78;
constexpr int F10 = 0x79;
constexpr int F11 = 0x7A;
constexpr int AltShift = ModifierMask::Alt | ModifierMask::Shift;
constexpr int WaitMs = 10000;

// Hot keys are delivered in the order they are pressed: once the marker's press has arrived,
// every event of the presses before it has been handled.
constexpr int MarkerId = 99;
constexpr int MarkerKey = F11;

// The frame of a window that asked for `geometry` (its own area, placed by its top-left corner
// of the frame): at that place, and larger by the decorations only.
bool frameFits(const QRect& frame, const QRect& geometry)
{
    return qAbs(frame.x() - geometry.x()) <= 2 && qAbs(frame.y() - geometry.y()) <= 2 &&
           frame.width() >= geometry.width() && frame.width() <= geometry.width() + 20 &&
           frame.height() >= geometry.height() && frame.height() <= geometry.height() + 60;
}

QList<int> idsOf(const QSignalSpy& spy)
{
    QList<int> ids;
    for (const QList<QVariant>& arguments : spy)
        ids << arguments.at(0).toInt();
    return ids;
}

} // namespace

void TestX11Desktop::initTestCase()
{
    QCOMPARE(QGuiApplication::platformName(), QString("xcb"));
    QVERIFY(m_probe.isOpen());
    // Quick auto-repeat, so that a held key repeats within a short hold.
    m_probe.setAutoRepeat(50, 20);
    m_desktop = createDesktop();
    QVERIFY(m_desktop->isAvailable());
    QVERIFY(m_desktop->unavailableReason().isEmpty());

    m_a =
        std::make_unique<StubChatProcess>("StubChatA", "客户甲 - 会话", QRect(100, 100, 540, 400));
    m_b = std::make_unique<StubChatProcess>("StubChatB", "Customer B", QRect(760, 150, 500, 380));
    QVERIFY(m_a->start());
    QVERIFY(m_b->start());
}

void TestX11Desktop::init()
{
    m_problems = std::make_unique<QSignalSpy>(m_desktop.get(), &Desktop::problem);
}

void TestX11Desktop::cleanup()
{
    // A failed test leaves neither hot keys nor lock keys behind for the next.
    for (const int id : {7, 20, 21, 22, 30, 31, 32, MarkerId})
        m_desktop->unregisterHotKey(id);
    if (m_probe.capsLockOn())
        xdotool({"key", "Caps_Lock"});
    if (m_probe.numLockOn())
        xdotool({"key", "Num_Lock"});

    // X errors are never swallowed, and none is expected where nothing went wrong.
    QStringList messages;
    for (const QList<QVariant>& arguments : *m_problems)
        messages << arguments.at(0).toString();
    QVERIFY2(m_problems->isEmpty(), qPrintable(messages.join('\n')));
    // xdotool's last key events may still be on their way.
    QTRY_VERIFY2_WITH_TIMEOUT(m_probe.pressedKeys().isEmpty(), "a key was left held down", WaitMs);
}

bool TestX11Desktop::bringToFront(const StubChatProcess& stub)
{
    if (!m_desktop->activate(stub.window()))
        return false;
    return QTest::qWaitFor(
        [&] {
            return m_desktop->foregroundWindow().id == stub.window() &&
                   !stub.events("active").isEmpty() &&
                   stub.events("active").last().value("active").toBool();
        },
        WaitMs);
}

QList<KeyStroke> TestX11Desktop::press(int virtualKey, int withModifier)
{
    QList<KeyStroke> keys;
    if (withModifier)
        keys << KeyStroke{withModifier, true};
    keys << KeyStroke{virtualKey, true} << KeyStroke{virtualKey, false};
    if (withModifier)
        keys << KeyStroke{withModifier, false};
    return keys;
}

void TestX11Desktop::foregroundFollowsActivation()
{
    QVERIFY(bringToFront(*m_b));
    QSignalSpy changes(m_desktop.get(), &Desktop::foregroundChanged);

    QVERIFY(bringToFront(*m_a));
    const WindowInfo a = m_desktop->foregroundWindow();
    QCOMPARE(a.id, m_a->window());
    QCOMPARE((QStringList{a.className, a.title}), (QStringList{m_a->className(), m_a->title()}));
    QVERIFY(a.visible && !a.minimized);
    QVERIFY2(frameFits(a.frame, m_a->geometry()), qPrintable(QDebug::toString(a.frame)));
    QTRY_VERIFY_WITH_TIMEOUT(changes.contains({QVariant::fromValue<WindowId>(m_a->window())}),
                             WaitMs);

    changes.clear();
    QVERIFY(bringToFront(*m_b));
    const WindowInfo b = m_desktop->foregroundWindow();
    QCOMPARE((QStringList{b.className, b.title}), (QStringList{m_b->className(), m_b->title()}));
    QVERIFY(frameFits(b.frame, m_b->geometry()));
    QTRY_VERIFY_WITH_TIMEOUT(changes.contains({QVariant::fromValue<WindowId>(m_b->window())}),
                             WaitMs);
    QCOMPARE(changes.last().at(0).value<WindowId>(), m_b->window());

    // The window behind is still known with its own data.
    const WindowInfo behind = m_desktop->window(m_a->window());
    QCOMPARE(behind.title, m_a->title());
    QCOMPARE(behind.frame, a.frame);

    QVERIFY(!m_desktop->activate(0));
    QVERIFY(!m_desktop->window(0).isValid());
}

void TestX11Desktop::reportsMovesAndResizes()
{
    const WindowId id = m_a->window();
    const WindowInfo before = m_desktop->window(id);
    QVERIFY(before.isValid());
    const QSize decorations = before.frame.size() - m_a->geometry().size();
    QSignalSpy moves(m_desktop.get(), &Desktop::windowMoved);

    QVERIFY(xdotool({"windowmove", QString::number(id), "300", "220"}));
    QTRY_VERIFY_WITH_TIMEOUT(!moves.isEmpty() &&
                                 moves.last().at(1).toRect().topLeft() != before.frame.topLeft(),
                             WaitMs);
    QCOMPARE(moves.last().at(0).value<WindowId>(), id);
    QRect moved = moves.last().at(1).toRect();
    QVERIFY(qAbs(moved.x() - 300) <= 40 && qAbs(moved.y() - 220) <= 40);
    QCOMPARE(moved.size(), before.frame.size());
    QTRY_COMPARE_WITH_TIMEOUT(m_desktop->window(id).frame, moves.last().at(1).toRect(), WaitMs);

    moves.clear();
    QVERIFY(xdotool({"windowsize", QString::number(id), "600", "450"}));
    QTRY_VERIFY_WITH_TIMEOUT(!moves.isEmpty() && moves.last().at(1).toRect().size() ==
                                                     QSize(600, 450) + decorations,
                             WaitMs);
    QCOMPARE(moves.last().at(0).value<WindowId>(), id);
    QCOMPARE(moves.last().at(1).toRect().topLeft(), m_desktop->window(id).frame.topLeft());

    // Moving one window says nothing about the other.
    for (const QList<QVariant>& arguments : moves)
        QCOMPARE(arguments.at(0).value<WindowId>(), id);
}

void TestX11Desktop::reportsTitleChanges()
{
    const WindowId id = m_b->window();
    QVERIFY(m_desktop->window(id).isValid());
    QSignalSpy titles(m_desktop.get(), &Desktop::windowTitleChanged);

    const QString title = "客户乙 – 订单 #4711";
    m_b->command("title " + title);
    QTRY_VERIFY_WITH_TIMEOUT(!titles.isEmpty() && titles.last().at(1).toString() == title, WaitMs);
    QCOMPARE(titles.last().at(0).value<WindowId>(), id);
    QCOMPARE(m_desktop->window(id).title, title);

    // A title set twice to the same text is one change.
    const qsizetype count = titles.count();
    m_b->command("title " + title);
    m_b->command("title Customer B");
    QTRY_VERIFY_WITH_TIMEOUT(titles.last().at(1).toString() == "Customer B", WaitMs);
    QCOMPARE(titles.count(), count + 1);
}

void TestX11Desktop::readsWindowsThatOnlyHaveLegacyNames()
{
    const QRect geometry(400, 500, 300, 200);
    const quint64 id = m_probe.createLegacyWindow("Caf\xe9 cr\xe8me", "OldChat", geometry);
    QTRY_VERIFY_WITH_TIMEOUT(m_desktop->window(id).visible, WaitMs);
    const WindowInfo info = m_desktop->window(id);
    QCOMPARE(info.title, QString("Café crème"));
    QCOMPARE(info.className, QString("OldChat"));
    QVERIFY(frameFits(info.frame, geometry));

    QSignalSpy titles(m_desktop.get(), &Desktop::windowTitleChanged);
    m_probe.setLegacyTitle(id, "Na\xefve");
    QTRY_VERIFY_WITH_TIMEOUT(!titles.isEmpty(), WaitMs);
    QCOMPARE(titles.last().at(0).value<WindowId>(), id);
    QCOMPARE(titles.last().at(1).toString(), QString("Naïve"));

    m_probe.destroyWindow(id);
    QTRY_VERIFY_WITH_TIMEOUT(!m_desktop->window(id).isValid(), WaitMs);
}

void TestX11Desktop::reportsMinimisedWindows()
{
    const WindowId id = m_b->window();
    QVERIFY(bringToFront(*m_b));
    QVERIFY(!m_desktop->window(id).minimized);

    QVERIFY(xdotool({"windowminimize", QString::number(id)}));
    // The window manager marks the window hidden and unmaps it one after the other.
    QTRY_VERIFY_WITH_TIMEOUT(m_desktop->window(id).minimized && !m_desktop->window(id).visible,
                             WaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(m_desktop->foregroundWindow().id != id, WaitMs);

    // Activation brings a minimised window back.
    QVERIFY(bringToFront(*m_b));
    QTRY_VERIFY_WITH_TIMEOUT(!m_desktop->window(id).minimized && m_desktop->window(id).visible,
                             WaitMs);
}

void TestX11Desktop::typesIntoTheForegroundWindowOrNothing()
{
    QVERIFY(bringToFront(*m_b));
    m_b->command("clear");
    QTRY_COMPARE_WITH_TIMEOUT(m_b->text(), QString(), WaitMs);

    // "Hi 1," then Enter, then Ctrl+Enter.
    QList<KeyStroke> keys = press(0x48, VirtualKey::Shift);
    keys << press(0x49) << press(0x20) << press(0x31) << press(0xBC);
    QVERIFY(m_desktop->sendKeys(keys).ok());
    QCOMPARE(m_probe.pressedKeys(), QList<int>());
    QTRY_COMPARE_WITH_TIMEOUT(m_b->text(), QString("Hi 1,"), WaitMs);

    QVERIFY(m_desktop->sendKeys(press(VirtualKey::Enter)).ok());
    QVERIFY(m_desktop->sendKeys(press(VirtualKey::Enter, VirtualKey::Control)).ok());
    QTRY_COMPARE_WITH_TIMEOUT(m_b->events("enter").size(), qsizetype(2), WaitMs);
    const QList<QJsonObject> enters = m_b->events("enter");
    QCOMPARE(enters.at(0).value("ctrl").toBool(), false);
    QCOMPARE(enters.at(1).value("ctrl").toBool(), true);
    QCOMPARE(enters.at(1).value("text").toString(), QString("Hi 1,"));
    QCOMPARE(m_desktop->heldModifiers(), 0);

    m_b->command("clear");
    QTRY_COMPARE_WITH_TIMEOUT(m_b->text(), QString(), WaitMs);
    // Ctrl and V are fine; 0xFF is no key at all, so not even Ctrl may go down.
    const DesktopResult typed = m_desktop->sendKeys({{VirtualKey::Control, true},
                                                     {VirtualKey::V, true},
                                                     {0xFF, true},
                                                     {0xFF, false},
                                                     {VirtualKey::V, false},
                                                     {VirtualKey::Control, false}});
    QVERIFY(!typed.ok());
    QVERIFY2(typed.reason().contains("0xFF"), qPrintable(typed.reason()));
    QCOMPARE(m_probe.pressedKeys(), QList<int>());
    QCOMPARE(m_desktop->heldModifiers(), 0);

    // Whatever the failed call had sent would have arrived before this.
    QVERIFY(m_desktop->sendKeys(press(0x58)).ok());
    QTRY_COMPARE_WITH_TIMEOUT(m_b->text(), QString("x"), WaitMs);
    QVERIFY(m_b->events("paste").isEmpty() ||
            m_b->events("paste").last().value("text").toString() != "x");
}

void TestX11Desktop::heldModifiersFollowTheKeyboard()
{
    QCOMPARE(m_desktop->heldModifiers(), 0);
    namespace M = ModifierMask;
    const QList<std::pair<QStringList, int>> steps = {
        {{"keydown", "ctrl"}, M::Control},
        {{"keydown", "shift"}, M::Control | M::Shift},
        {{"keydown", "alt"}, M::Control | M::Shift | M::Alt},
        {{"keyup", "ctrl", "keyup", "shift", "keydown", "super"}, M::Alt | M::Meta},
        {{"keyup", "alt", "keyup", "super"}, 0},
    };
    for (const auto& [keys, held] : steps) {
        QVERIFY(xdotool(keys));
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->heldModifiers(), held, WaitMs);
    }
}

// A row of lock-keys.txt: the lock keys on while the hot key is pressed.
void TestX11Desktop::hotKeyFiresOncePerPress()
{
    QFETCH(QStringList, row);
    const QStringList locks = row.mid(1);
    QSignalSpy presses(m_desktop.get(), &Desktop::hotKeyPressed);
    QVERIFY(m_desktop->registerHotKey(7, F9, AltShift).ok());
    QVERIFY(m_desktop->registerHotKey(MarkerId, MarkerKey, AltShift).ok());

    for (const QString& lock : locks)
        QVERIFY(xdotool({"key", lock}));
    QTRY_COMPARE_WITH_TIMEOUT(static_cast<qsizetype>(qPopulationCount(m_probe.modifierState())),
                              locks.size(), WaitMs);

    // A plain press, then one held long enough to repeat many times.
    QVERIFY(xdotool({"key", "alt+shift+F9"}));
    QVERIFY(xdotool({"keydown", "alt+shift+F9", "sleep", "0.3", "keyup", "alt+shift+F9"}));
    QVERIFY(xdotool({"key", "alt+shift+F11"}));
    QTRY_VERIFY_WITH_TIMEOUT(idsOf(presses).contains(MarkerId), WaitMs);
    QCOMPARE(idsOf(presses), QList<int>({7, 7, MarkerId}));

    for (const QString& lock : locks)
        QVERIFY(xdotool({"key", lock}));
    QTRY_COMPARE_WITH_TIMEOUT(m_probe.modifierState(), 0u, WaitMs);

    // Once unregistered, the combination is no hot key any more.
    m_desktop->unregisterHotKey(7);
    presses.clear();
    QVERIFY(xdotool({"key", "alt+shift+F9", "alt+shift+F11"}));
    QTRY_VERIFY_WITH_TIMEOUT(idsOf(presses).contains(MarkerId), WaitMs);
    QCOMPARE(idsOf(presses), QList<int>({MarkerId}));
}

void TestX11Desktop::hotKeyFollowsKeyboardMappingChanges()
{
    QSignalSpy presses(m_desktop.get(), &Desktop::hotKeyPressed);
    QVERIFY(m_desktop->registerHotKey(7, F9, AltShift).ok());
    QVERIFY(m_desktop->registerHotKey(MarkerId, MarkerKey, AltShift).ok());

    // The server tells of a new mapping some time after it changed: F9 is pressed until the
    // grab has followed it.
    const auto fires = [&] {
        return QTest::qWaitFor(
            [&] {
                xdotool({"key", "alt+shift+F9"});
                return QTest::qWaitFor([&] { return idsOf(presses).contains(7); }, 500);
            },
            WaitMs);
    };
    // F9 and F10 change keys: the grab must move to the key that now produces F9.
    QVERIFY(m_probe.swapKeys("F9", "F10"));
    QVERIFY(fires());
    QVERIFY(xdotool({"key", "alt+shift+F11"}));
    QTRY_VERIFY_WITH_TIMEOUT(idsOf(presses).contains(MarkerId), WaitMs);
    presses.clear();
    // The key that used to be F9 is F10 now and no hot key.
    QVERIFY(xdotool({"key", "alt+shift+F10", "alt+shift+F11"}));
    QTRY_VERIFY_WITH_TIMEOUT(idsOf(presses).contains(MarkerId), WaitMs);
    QCOMPARE(idsOf(presses), QList<int>({MarkerId}));

    QVERIFY(m_probe.swapKeys("F9", "F10"));
    presses.clear();
    QVERIFY(fires());
}

namespace {

// hotkey_holder, grabbing Alt+Shift+F10 for as long as it lives.
class Holder {
public:
    Holder()
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QUILLMATE_HOTKEY_HOLDER, {QString::number(F10), QString::number(AltShift)});
    }
    ~Holder()
    {
        if (m_process.state() != QProcess::NotRunning && !stop())
            m_process.kill();
        m_process.waitForFinished(WaitMs);
    }

    // "registered" or "refused".
    QString answer()
    {
        while (!m_process.canReadLine()) {
            if (!m_process.waitForReadyRead(WaitMs))
                return QString();
        }
        return QString::fromUtf8(m_process.readLine()).trimmed();
    }

    bool stop()
    {
        m_process.closeWriteChannel();
        return m_process.waitForFinished(WaitMs) && m_process.exitCode() == 0;
    }

private:
    QProcess m_process;
};

} // namespace

void TestX11Desktop::hotKeyHeldByAnotherProgramIsRefused()
{
    {
        Holder holder;
        QCOMPARE(holder.answer(), QString("registered"));
        QVERIFY(m_desktop->registerHotKey(20, F10, AltShift).isTaken());
        // Refused for the other program's grab, not for the modifiers.
        QVERIFY(m_desktop->registerHotKey(21, F9, AltShift).ok());
        m_desktop->unregisterHotKey(21);
        QVERIFY(holder.stop());
    }
    // The other program has let go.
    QVERIFY(m_desktop->registerHotKey(20, F10, AltShift).ok());
    {
        Holder holder;
        QCOMPARE(holder.answer(), QString("refused"));
    }
    m_desktop->unregisterHotKey(20);
    {
        Holder holder;
        QCOMPARE(holder.answer(), QString("registered"));
    }
}

void TestX11Desktop::hotKeyIsRegisteredOnceAndOnlyWhereItCanFire()
{
    QSignalSpy presses(m_desktop.get(), &Desktop::hotKeyPressed);
    QVERIFY(m_desktop->registerHotKey(30, F8, ModifierMask::Control).ok());
    QVERIFY(m_desktop->registerHotKey(31, F8, ModifierMask::Control).isTaken());
    // Again under its own id is no conflict.
    QVERIFY(m_desktop->registerHotKey(30, F8, ModifierMask::Control).ok());
    // Moving id 30 to another key frees the first.
    QVERIFY(m_desktop->registerHotKey(30, F7, ModifierMask::Control).ok());
    QVERIFY(m_desktop->registerHotKey(31, F8, ModifierMask::Control).ok());

    QVERIFY(xdotool({"key", "ctrl+F7", "ctrl+F8"}));
    QTRY_COMPARE_WITH_TIMEOUT(idsOf(presses), QList<int>({30, 31}), WaitMs);

    // A key no keyboard has cannot be grabbed, and says so.
    const DesktopResult unmappable = m_desktop->registerHotKey(32, 0xFF, ModifierMask::Control);
    QVERIFY(!unmappable.ok() && !unmappable.isTaken());
    QVERIFY2(unmappable.reason().contains("0xFF"), qPrintable(unmappable.reason()));
    // Ctrl+Alt+F9 switches the virtual terminal inside the X server and never reaches a program;
    // the same key with other modifiers is an ordinary hot key.
    const DesktopResult reserved =
        m_desktop->registerHotKey(22, F9, ModifierMask::Control | ModifierMask::Alt);
    QVERIFY(!reserved.ok() && !reserved.isTaken());
    QVERIFY2(reserved.reason().contains("Ctrl+Alt+F9"), qPrintable(reserved.reason()));
    QVERIFY(m_desktop->registerHotKey(22, F9, ModifierMask::Control | ModifierMask::Shift).ok());
    // cleanup() lets go of every id.
}

void TestX11Desktop::vanishedWindowsAndFilesAreInvalid()
{
    StubChatProcess gone("StubChatC", "Soon gone", QRect(200, 600, 300, 200));
    QVERIFY(gone.start());
    const WindowId id = gone.window();
    QVERIFY(bringToFront(gone));
    QVERIFY(m_desktop->window(id).isValid());

    QVERIFY(gone.stop());
    QTRY_VERIFY_WITH_TIMEOUT(!m_desktop->window(id).isValid(), WaitMs);
    QVERIFY(!m_desktop->activate(id));
    QTRY_VERIFY_WITH_TIMEOUT(m_desktop->foregroundWindow().id != id, WaitMs);
    // An id that no window of the server can have.
    QVERIFY(!m_desktop->window(0x1FFFFFFF).isValid());
    QVERIFY(!m_desktop->window(quint64(1) << 40).isValid());
    // Nor can a file that is not there be opened.
    QTemporaryDir dir;
    QCOMPARE(m_desktop->openPath(dir.filePath("missing.png")), Desktop::OpenResult::NotFound);
}

QTEST_MAIN(TestX11Desktop)
#include "tst_x11desktop.moc"
