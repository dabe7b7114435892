#pragma once

#include <QDialog>

class QVBoxLayout;
class TitleBar;

// A dialog without the system frame: the skin's title bar on top, the content below, one thin
// border around both. Closing it from the title bar rejects it.
class FramelessDialog : public QDialog {
    Q_OBJECT
public:
    explicit FramelessDialog(QWidget* parent = nullptr);

    void setCaption(const QString& caption);
    QString caption() const;
    TitleBar* titleBar() const { return m_titleBar; }

protected:
    // Where subclasses put their content.
    QVBoxLayout* bodyLayout() const { return m_body; }

private:
    TitleBar* m_titleBar;
    QVBoxLayout* m_body;
};
