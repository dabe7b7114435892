#include "widgets/MessageWindow.h"

#include "widgets/Dialogs.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace {

QPushButton* addButton(QHBoxLayout* row, const char* name, const QString& text, QDialog* owner)
{
    auto* button = new QPushButton(text, owner);
    button->setObjectName(QLatin1String(name));
    button->setMinimumWidth(80);
    row->addWidget(button);
    return button;
}

} // namespace

MessageWindow::MessageWindow(QWidget* parent, const QString& text, const QString& caption,
                             Buttons buttons)
    : FramelessDialog(parent), m_text(new QLabel(text, this))
{
    setObjectName(QStringLiteral("frmMessage"));
    setModal(true);
    setCaption(caption.isEmpty() ? Dialogs::defaultCaption() : caption);
    setMinimumWidth(300);

    m_text->setObjectName(QStringLiteral("lblMessage"));
    m_text->setWordWrap(true);
    m_text->setTextFormat(Qt::PlainText);
    // Agents copy error texts into their reports.
    m_text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // A long report (the problems found in a workbook, say) scrolls instead of growing past the
    // screen.
    if (text.count(u'\n') >= LongTextLines) {
        auto* area = new QScrollArea(this);
        area->setObjectName(QStringLiteral("scrMessage"));
        area->setWidget(m_text);
        area->setWidgetResizable(true);
        area->setMinimumSize(480, 320);
        bodyLayout()->addWidget(area, 1);
    } else {
        bodyLayout()->addWidget(m_text, 1);
    }

    auto* row = new QHBoxLayout;
    row->addStretch(1);
    if (buttons == Buttons::Ok) {
        QPushButton* ok = addButton(row, "btnOK", QStringLiteral("确定"), this);
        ok->setDefault(true);
        connect(ok, &QPushButton::clicked, this, &QDialog::accept);
    } else {
        QPushButton* yesButton = addButton(row, "btnYes", QStringLiteral("是"), this);
        QPushButton* noButton = addButton(row, "btnNo", QStringLiteral("否"), this);
        yesButton->setDefault(true);
        connect(yesButton, &QPushButton::clicked, this, &QDialog::accept);
        connect(noButton, &QPushButton::clicked, this, &QDialog::reject);
    }
    bodyLayout()->addLayout(row);
}

QString MessageWindow::text() const
{
    return m_text->text();
}
