#include "panel/docking/DockGeometry.h"

#include "panel/Twips.h"

namespace DockGeometry {

namespace {

constexpr int minimizedCoordinate = -32000;

// Exclusive edges: QRect::right() and bottom() are one pixel short of x + width.
int rightEdge(const QRect& r)
{
    return r.x() + r.width();
}

int bottomEdge(const QRect& r)
{
    return r.y() + r.height();
}

bool touchesLeft(const QRect& panel, const QRect& available)
{
    return panel.x() <= available.x() + EdgeMargin;
}

bool touchesRight(const QRect& panel, const QRect& available)
{
    return rightEdge(panel) >= rightEdge(available) - EdgeMargin;
}

} // namespace

int overlapPixels(double dpi)
{
    return Twips::toPixels(OverlapTwips, dpi);
}

QRect queryBarRect(const QRect& chat, int barHeight, double dpi)
{
    const int overlap = overlapPixels(dpi);
    return {chat.x() + overlap, bottomEdge(chat) - overlap, chat.width() - 2 * overlap, barHeight};
}

Side panelSide(const QString& showPos)
{
    return showPos == QLatin1String("1") ? Side::Left : Side::Right;
}

QRect panelRect(const QRect& chat, int panelWidth, Side side, double dpi)
{
    const int overlap = overlapPixels(dpi);
    const int left =
        side == Side::Left ? chat.x() - panelWidth + overlap : rightEdge(chat) - overlap;
    return {left, chat.y() + overlap, panelWidth, chat.height() - 2 * overlap};
}

QStringList ownTitles()
{
    return {
        QStringLiteral("QuillmateBottomQuery"),   QStringLiteral("客服Tavro(Quillmate)"),
        QStringLiteral("知识库-底部查询-编辑"),   QStringLiteral("公司事务-底部查询-编辑"),
        QStringLiteral("快递-底部查询-编辑"),     QStringLiteral("简洁-底部查询-编辑"),
        QStringLiteral("文件-底部查询-编辑"),     QStringLiteral("工具-底部查询-编辑"),
        QStringLiteral("私人知识-底部查询-编辑"),
    };
}

bool isOwnTitle(const QString& title)
{
    static const QStringList titles = ownTitles();
    return titles.contains(title);
}

bool isMinimized(const WindowInfo& window)
{
    return window.minimized ||
           (window.frame.x() == minimizedCoordinate && window.frame.y() == minimizedCoordinate);
}

bool isGone(const WindowInfo& window)
{
    return !window.isValid() || !window.visible;
}

EdgeAction edgeAction(const EdgeInput& input)
{
    if (!input.hideEnabled || !input.floating)
        return input.hidden ? EdgeAction::Show : EdgeAction::Stay;
    if (input.panel.x() <= EdgeMargin || input.panel.y() <= EdgeMargin)
        return EdgeAction::Stay;
    const bool overPanel = input.panel.contains(input.cursor);
    if (input.hidden)
        return overPanel ? EdgeAction::Show : EdgeAction::Stay;
    const bool touches =
        touchesLeft(input.panel, input.available) || touchesRight(input.panel, input.available);
    return touches && !overPanel ? EdgeAction::Hide : EdgeAction::Stay;
}

QRect handleRect(const QRect& panel, const QRect& available, int width)
{
    const int x = touchesRight(panel, available) ? rightEdge(available) - width : available.x();
    return {x, panel.y(), width, panel.height()};
}

} // namespace DockGeometry
