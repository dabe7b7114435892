#include "platform/win32/ScreenScaling.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace ScreenScaling {

namespace {

long long overlap(const Rect& a, const Rect& b)
{
    const long long width = std::min(a.right, b.right) - std::max(a.left, b.left);
    const long long height = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
    return width > 0 && height > 0 ? width * height : 0;
}

// Squared distance from the rectangle's centre to the nearest point of the screen.
double distance(const Rect& rect, const Rect& screen)
{
    const double x = (rect.left + rect.right) / 2.0;
    const double y = (rect.top + rect.bottom) / 2.0;
    const double dx = x < screen.left ? screen.left - x : (x > screen.right ? x - screen.right : 0);
    const double dy = y < screen.top ? screen.top - y : (y > screen.bottom ? y - screen.bottom : 0);
    return dx * dx + dy * dy;
}

int scaled(int value, double ratio)
{
    return static_cast<int>(std::lround(value / ratio));
}

} // namespace

Screen fromQt(int x, int y, int width, int height, double ratio)
{
    const double safe = ratio > 0 ? ratio : 1.0;
    return {{x, y, x + static_cast<int>(std::lround(width * safe)),
             y + static_cast<int>(std::lround(height * safe))},
            safe};
}

Rect toQt(const Rect& physical, const std::vector<Screen>& screens)
{
    const Screen* best = nullptr;
    long long bestOverlap = 0;
    for (const Screen& screen : screens) {
        const long long area = overlap(physical, screen.physical);
        if (area > bestOverlap) {
            bestOverlap = area;
            best = &screen;
        }
    }
    if (!best) {
        double nearest = std::numeric_limits<double>::max();
        for (const Screen& screen : screens) {
            const double d = distance(physical, screen.physical);
            if (d < nearest) {
                nearest = d;
                best = &screen;
            }
        }
    }
    if (!best)
        return physical;
    const int originX = best->physical.left;
    const int originY = best->physical.top;
    const int left = originX + scaled(physical.left - originX, best->ratio);
    const int top = originY + scaled(physical.top - originY, best->ratio);
    return {left, top, left + scaled(physical.right - physical.left, best->ratio),
            top + scaled(physical.bottom - physical.top, best->ratio)};
}

} // namespace ScreenScaling
