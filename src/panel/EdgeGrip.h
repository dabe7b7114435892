#pragma once

#include <QPoint>
#include <QRect>
#include <QWidget>

// A strip along an edge (or the corner) of a frameless window; dragging it resizes the window.
class EdgeGrip : public QWidget {
    Q_OBJECT
public:
    enum Edge { Left = 1, Right = 2, Bottom = 4 };

    EdgeGrip(const QString& objectName, int edges, QWidget* window);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    int m_edges;
    QWidget* m_window;
    QPoint m_start;
    QRect m_startGeometry;
    bool m_dragging = false;
};
