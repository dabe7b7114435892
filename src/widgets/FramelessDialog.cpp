#include "widgets/FramelessDialog.h"

#include "widgets/TitleBar.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

FramelessDialog::FramelessDialog(QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::FramelessWindowHint), m_titleBar(new TitleBar(this)),
      m_body(new QVBoxLayout)
{
    // A top-level QDialog draws no style-sheet border, so the border belongs to an inner frame.
    auto* frame = new QFrame(this);
    frame->setObjectName(QStringLiteral("windowFrame"));

    auto* body = new QWidget(frame);
    body->setObjectName(QStringLiteral("windowBody"));
    body->setLayout(m_body);
    m_body->setContentsMargins(18, 14, 18, 14);
    m_body->setSpacing(12);

    auto* frameLayout = new QVBoxLayout(frame);
    frameLayout->setContentsMargins(1, 1, 1, 1);
    frameLayout->setSpacing(0);
    frameLayout->addWidget(m_titleBar);
    frameLayout->addWidget(body, 1);

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(frame);

    connect(m_titleBar, &TitleBar::closeRequested, this, &QDialog::reject);
}

void FramelessDialog::setCaption(const QString& caption)
{
    m_titleBar->setCaption(caption);
    // The task bar and assistive tools still read the window title.
    setWindowTitle(caption);
}

QString FramelessDialog::caption() const
{
    return m_titleBar->caption();
}

FramelessDialog::CommandRow FramelessDialog::addCommandRow(const QString& okName)
{
    CommandRow row{new QHBoxLayout, new QPushButton(QStringLiteral("确定"), this),
                   new QPushButton(QStringLiteral("取消"), this)};
    row.ok->setObjectName(okName);
    row.cancel->setObjectName(QStringLiteral("btnCancel"));
    row.ok->setDefault(true);
    for (QPushButton* b : {row.ok, row.cancel})
        b->setMinimumWidth(80);
    connect(row.cancel, &QPushButton::clicked, this, &QDialog::reject);
    row.layout->addStretch(1);
    row.layout->addWidget(row.ok);
    row.layout->addWidget(row.cancel);
    m_body->addLayout(row.layout);
    return row;
}
