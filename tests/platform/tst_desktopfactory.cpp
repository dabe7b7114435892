#include "platform/DesktopFactory.h"
#include "platform/NullDesktop.h"

#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>

// Without a reachable X display (a Wayland session without XWayland) the program gets a desktop
// that says why docking, hot keys and pasting are off, and that never claims to have done them.
class TestDesktopFactory : public QObject {
    Q_OBJECT
private slots:
    void withoutDisplayTheDesktopIsUnavailable_data();
    void withoutDisplayTheDesktopIsUnavailable();
    void documentsStillOpenWithoutWindowAccess();
};

void TestDesktopFactory::withoutDisplayTheDesktopIsUnavailable_data()
{
    QTest::addColumn<QByteArray>("display");
    QTest::newRow("no DISPLAY") << QByteArray();
    QTest::newRow("DISPLAY without a server") << QByteArray("unix:4711");
}

void TestDesktopFactory::withoutDisplayTheDesktopIsUnavailable()
{
    QFETCH(QByteArray, display);
    const QByteArray saved = qgetenv("DISPLAY");
    if (display.isEmpty())
        qunsetenv("DISPLAY");
    else
        qputenv("DISPLAY", display);
    const std::unique_ptr<Desktop> desktop = createDesktop();
    qputenv("DISPLAY", saved);

    QVERIFY(desktop);
    QVERIFY(!desktop->isAvailable());
    QCOMPARE(desktop->unavailableReason(), NullDesktop::defaultReason());
    QVERIFY(desktop->unavailableReason().contains("X11"));
    QVERIFY(!desktop->foregroundWindow().isValid());
    QVERIFY(!desktop->window(0x400001).isValid());
    QVERIFY(!desktop->activate(0x400001));
    const DesktopResult typed =
        desktop->sendKeys({{VirtualKey::Control, true}, {VirtualKey::Control, false}});
    QCOMPARE(typed.reason(), NullDesktop::defaultReason());
    QCOMPARE(desktop->heldModifiers(), 0);
    QVERIFY(!desktop->registerHotKey(1, 0x78, ModifierMask::Control).ok());
}

void TestDesktopFactory::documentsStillOpenWithoutWindowAccess()
{
    NullDesktop desktop;
    QTemporaryDir dir;
    QCOMPARE(desktop.openPath(dir.filePath("missing.txt")), Desktop::OpenResult::NotFound);
    QCOMPARE(desktop.openPath(QString()), Desktop::OpenResult::NotFound);
    QCOMPARE(desktop.openUrl(QUrl()), Desktop::OpenResult::Failed);
}

QTEST_MAIN(TestDesktopFactory)
#include "tst_desktopfactory.moc"
