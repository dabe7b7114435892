#pragma once

#include <QPoint>
#include <QWidget>

class QLabel;
class QToolButton;

// The caption strip of a frameless window: the program's mark, the caption and a close button.
// Dragging it moves the window.
class TitleBar : public QWidget {
    Q_OBJECT
public:
    explicit TitleBar(QWidget* parent = nullptr);

    void setCaption(const QString& caption);
    QString caption() const;

signals:
    void closeRequested();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    QLabel* m_caption;
    QToolButton* m_close;
    bool m_dragging = false;
    QPoint m_grabOffset; // cursor position relative to the window's top left corner
};
