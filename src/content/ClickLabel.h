#pragma once

#include <QLabel>

// A label that acts like a link: the picture box and the "view" and "clear" labels of the forms.
class ClickLabel : public QLabel {
    Q_OBJECT
public:
    explicit ClickLabel(const QString& text = {}, QWidget* parent = nullptr);

signals:
    void clicked();

protected:
    void mouseReleaseEvent(QMouseEvent* event) override;
};
