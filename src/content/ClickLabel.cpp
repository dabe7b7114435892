#include "content/ClickLabel.h"

#include <QMouseEvent>

ClickLabel::ClickLabel(const QString& text, QWidget* parent) : QLabel(text, parent)
{
    setCursor(Qt::PointingHandCursor);
}

void ClickLabel::mouseReleaseEvent(QMouseEvent* event)
{
    QLabel::mouseReleaseEvent(event);
    if (isEnabled() && event->button() == Qt::LeftButton &&
        rect().contains(event->position().toPoint()))
        emit clicked();
}
