#include "panel/EdgeGrip.h"

#include <QMouseEvent>

EdgeGrip::EdgeGrip(const QString& objectName, int edges, QWidget* window)
    : QWidget(window), m_edges(edges), m_window(window)
{
    setObjectName(objectName);
    if (edges == (Right | Bottom))
        setCursor(Qt::SizeFDiagCursor);
    else if (edges & Bottom)
        setCursor(Qt::SizeVerCursor);
    else
        setCursor(Qt::SizeHorCursor);
}

void EdgeGrip::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    m_dragging = true;
    m_start = event->globalPosition().toPoint();
    m_startGeometry = m_window->geometry();
}

void EdgeGrip::mouseMoveEvent(QMouseEvent* event)
{
    if (!m_dragging)
        return;
    const QPoint d = event->globalPosition().toPoint() - m_start;
    QRect g = m_startGeometry;
    const QSize min = m_window->minimumSizeHint().expandedTo(QSize(160, 200));
    if (m_edges & Left)
        g.setLeft(std::min(g.left() + d.x(), g.right() - min.width()));
    if (m_edges & Right)
        g.setRight(std::max(g.right() + d.x(), g.left() + min.width()));
    if (m_edges & Bottom)
        g.setBottom(std::max(g.bottom() + d.y(), g.top() + min.height()));
    m_window->setGeometry(g);
}

void EdgeGrip::mouseReleaseEvent(QMouseEvent*)
{
    m_dragging = false;
}
