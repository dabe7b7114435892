#pragma once

#include <cmath>

// Sizes in config.ini are twips: 1440 to the inch, 15 to a pixel at 96 dpi.
namespace Twips {

inline int toPixels(int twips, double dpi)
{
    return static_cast<int>(std::lround(twips * dpi / 1440.0));
}
inline int fromPixels(int pixels, double dpi)
{
    return static_cast<int>(std::lround(pixels * 1440.0 / dpi));
}

} // namespace Twips
