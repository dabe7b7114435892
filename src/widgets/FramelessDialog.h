#pragma once

#include <QDialog>

class QHBoxLayout;
class QPushButton;
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

    // The row of commands at the bottom of the body: 确定 and 取消 on the right, at least 80
    // pixels wide; 取消 rejects the dialog. 确定 carries the name each window has always given it
    // (btnOK, btnConfirm, btnComfirm); the caller connects it. Widgets may go to the row's left.
    struct CommandRow {
        QHBoxLayout* layout;
        QPushButton* ok;
        QPushButton* cancel;
    };
    CommandRow addCommandRow(const QString& okName);

private:
    TitleBar* m_titleBar;
    QVBoxLayout* m_body;
};
