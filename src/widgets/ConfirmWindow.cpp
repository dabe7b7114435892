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

    auto* confirm = new QPushButton(QStringLiteral("确定"), this);
    confirm->setObjectName(QStringLiteral("btnComfirm"));
    confirm->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("取消"), this);
    cancel->setObjectName(QStringLiteral("btnCancel"));
    for (QPushButton* b : {confirm, cancel})
        b->setMinimumWidth(80);
    connect(confirm, &QPushButton::clicked, this, &QDialog::accept);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* row = new QHBoxLayout;
    row->addStretch(1);
    row->addWidget(confirm);
    row->addWidget(cancel);
    bodyLayout()->addLayout(row);
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
