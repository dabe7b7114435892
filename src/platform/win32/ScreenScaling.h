#pragma once

#include <vector>

// Windows gives window frames in physical pixels; Qt places our windows in coordinates of its own
// where every screen keeps its physical top-left corner and is scaled by its device pixel ratio
// around it (150 % makes a 3000-pixel-wide screen 2000 wide). A frame goes to Qt's coordinates
// through the screen it lies on. Plain arithmetic, with neither Windows nor Qt in it.
namespace ScreenScaling {

// Right and bottom are exclusive, as in a Win32 RECT.
struct Rect {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
    friend bool operator==(const Rect&, const Rect&) = default;
};

struct Screen {
    Rect physical;
    double ratio = 1.0;
};

// A screen as Qt describes it: its geometry in Qt's coordinates and its device pixel ratio.
Screen fromQt(int x, int y, int width, int height, double ratio);

// The rectangle in Qt's coordinates, by the screen holding most of it, or the nearest one when
// it lies on none (a window moved off every screen). Unchanged without screens.
Rect toQt(const Rect& physical, const std::vector<Screen>& screens);

} // namespace ScreenScaling
