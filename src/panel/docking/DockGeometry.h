#pragma once

#include "platform/Desktop.h"

#include <QPoint>
#include <QRect>
#include <QString>
#include <QStringList>

// Where the panel and the bottom query bar go relative to a chat window, and when a floating
// panel slides away at a screen edge. Rectangles are in screen pixels; the offsets are fixed in
// twips so that they look the same on every screen.
namespace DockGeometry {

inline constexpr int OverlapTwips = 90;
// A panel within this many pixels of a screen edge counts as touching it. The panel's first
// place is 80 twips (5 pixels at 96 dpi) in from the right edge, which must count.
inline constexpr int EdgeMargin = 5;

// OverlapTwips in pixels at the given dots per inch: 6 at 96, 9 at 144.
int overlapPixels(double dpi);

// The bar sits on the chat window's lower edge, indented on both sides.
QRect queryBarRect(const QRect& chat, int barHeight, double dpi);

enum class Side { Left, Right };
// XiFuMainShowPos: "1" puts the panel left of the chat window, anything else right of it.
Side panelSide(const QString& showPos);
// The docked panel overlaps the chat window's edge and is a little shorter than it.
QRect panelRect(const QRect& chat, int panelWidth, Side side, double dpi);

// The captions of the program's own windows, which never become the chat target.
QStringList ownTitles();
bool isOwnTitle(const QString& title);

// Windows reports minimised windows at (-32000, -32000); other systems say so directly.
bool isMinimized(const WindowInfo& window);
bool isGone(const WindowInfo& window);

enum class EdgeAction { Stay, Hide, Show };

struct EdgeInput {
    QRect panel;     // the panel as it is now: its handle while hidden
    QRect available; // the available area of the panel's screen
    QPoint cursor;
    bool hideEnabled = false; // LeftAndRightHideMini is "1"
    bool floating = false;    // not docked beside a chat window
    bool hidden = false;      // the panel is shrunk to its handle
};

// A floating panel touching the left or right edge of its screen shrinks to a handle when the
// cursor leaves it and comes back when the cursor is over the handle. The test only runs while
// the panel's left and top are both greater than EdgeMargin in screen coordinates, so on a
// screen whose area starts at x = 0 a panel at its left edge never hides; on a screen placed to
// the right of another one it does.
EdgeAction edgeAction(const EdgeInput& input);

// The handle a panel shrinks to: `width` wide, on the screen edge the panel touches, the right
// one when it touches both.
QRect handleRect(const QRect& panel, const QRect& available, int width);

} // namespace DockGeometry
