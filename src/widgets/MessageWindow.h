#pragma once

#include "widgets/FramelessDialog.h"

class QLabel;

// The program's message window: a caption, the text and OK; or, for questions asked in the
// message window, Yes and No. Closing it counts as No.
class MessageWindow : public FramelessDialog {
    Q_OBJECT
public:
    enum class Buttons { Ok, YesNo };
    // A text of this many lines or more is shown in a scrolling area.
    static constexpr int LongTextLines = 15;

    MessageWindow(QWidget* parent, const QString& text, const QString& caption = {},
                  Buttons buttons = Buttons::Ok);

    QString text() const;
    bool yes() const { return result() == QDialog::Accepted; }

private:
    QLabel* m_text;
};
