#include "widgets/ConfirmWindow.h"

#include "widgets/Dialogs.h"
#include "widgets/SoundPlayer.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QShowEvent>
#include <QVBoxLayout>

ConfirmWindow::ConfirmWindow(QWidget* parent, const QString& question)
    : FramelessDialog(parent),
      m_question(new QLabel(question.isEmpty() ? Dialogs::exitQuestion() : question, this))
{
    setObjectName(QStringLiteral("frmComfirm"));
    setModal(true);
    setCaption(Dialogs::defaultCaption());
    setMinimumWidth(300);

    m_question->setObjectName(QStringLiteral("lblQuestion"));
    m_question->setWordWrap(true);
    m_question->setTextFormat(Qt::PlainText);
    bodyLayout()->addWidget(m_question, 1);

    connect(addCommandRow(QStringLiteral("btnComfirm")).ok, &QPushButton::clicked, this,
            &QDialog::accept);
}

QString ConfirmWindow::question() const
{
    return m_question->text();
}

void ConfirmWindow::showEvent(QShowEvent* event)
{
    FramelessDialog::showEvent(event);
    // A restore from minimised is spontaneous and is no new question.
    if (!event->spontaneous())
        SoundPlayer::play(m_sound);
}
