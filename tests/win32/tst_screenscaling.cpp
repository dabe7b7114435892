#include "platform/win32/ScreenScaling.h"

#include <QTest>

using ScreenScaling::Rect;
using ScreenScaling::Screen;

// Frames from Windows (physical pixels) placed in Qt's coordinates, where each screen keeps its
// top-left corner and is scaled by its device pixel ratio around it.
class TestScreenScaling : public QObject {
    Q_OBJECT
private slots:
    void qtGeometryGivesThePhysicalScreen();
    void aFrameIsScaledAroundItsScreensCorner();
    void theScreenHoldingMostOfTheFrameOrTheNearestDecides();
};

void TestScreenScaling::qtGeometryGivesThePhysicalScreen()
{
    const Screen screen = ScreenScaling::fromQt(1920, 0, 1707, 960, 1.5);
    QCOMPARE(screen.physical, (Rect{1920, 0, 1920 + 2561, 1440}));
    QCOMPARE(screen.ratio, 1.5);
    QCOMPARE(ScreenScaling::fromQt(0, 0, 800, 600, 0).ratio, 1.0);

    // Unscaled screens change nothing.
    const Rect frame{100, 50, 700, 650};
    QCOMPARE(ScreenScaling::toQt(frame, {}), frame);
    QCOMPARE(ScreenScaling::toQt(frame, {ScreenScaling::fromQt(0, 0, 1920, 1080, 1.0)}), frame);
}

void TestScreenScaling::aFrameIsScaledAroundItsScreensCorner()
{
    // A 150 % screen right of a 100 % one: its corner stays at x 1920.
    const std::vector<Screen> screens{ScreenScaling::fromQt(0, 0, 1920, 1080, 1.0),
                                      ScreenScaling::fromQt(1920, 0, 2560, 1440, 1.5)};
    QCOMPARE(ScreenScaling::toQt({1920 + 300, 150, 1920 + 1200, 1050}, screens),
             (Rect{1920 + 200, 100, 1920 + 800, 700}));
    QCOMPARE(ScreenScaling::toQt({10, 20, 110, 220}, screens), (Rect{10, 20, 110, 220}));
}

void TestScreenScaling::theScreenHoldingMostOfTheFrameOrTheNearestDecides()
{
    const std::vector<Screen> screens{ScreenScaling::fromQt(0, 0, 1000, 1000, 1.0),
                                      ScreenScaling::fromQt(1000, 0, 1000, 1000, 2.0)};
    // Mostly on the 200 % screen: its scale, its corner, even for the part left of it.
    QCOMPARE(ScreenScaling::toQt({900, 0, 1500, 400}, screens), (Rect{950, 0, 1250, 200}));
    // Mostly on the 100 % screen: unchanged.
    QCOMPARE(ScreenScaling::toQt({500, 0, 1100, 400}, screens), (Rect{500, 0, 1100, 400}));
    // Off every screen, the nearest decides. Minimised windows sit at -32000, far left: the left
    // screen's scale applies.
    QCOMPARE(ScreenScaling::toQt({-32000, -32000, -31840, -31972}, screens),
             (Rect{-32000, -32000, -31840, -31972}));
    QCOMPARE(ScreenScaling::toQt({5000, 0, 5400, 400}, screens), (Rect{3000, 0, 3200, 200}));
}

QTEST_APPLESS_MAIN(TestScreenScaling)
#include "tst_screenscaling.moc"
