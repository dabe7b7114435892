#include "widgets/TitleBar.h"

#include "widgets/Skin.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QToolButton>
#include <QWindow>

TitleBar::TitleBar(QWidget* parent)
    : QWidget(parent), m_caption(new QLabel(this)), m_close(new QToolButton(this))
{
    setObjectName(QStringLiteral("titleBar"));
    // Without it a plain QWidget subclass ignores the style sheet's background.
    setAttribute(Qt::WA_StyledBackground);

    auto* mark = new QLabel(this);
    mark->setObjectName(QStringLiteral("lblTitleIcon"));
    mark->setPixmap(Skin::appIcon().pixmap(16, 16));

    m_caption->setObjectName(QStringLiteral("lblTitle"));
    m_close->setObjectName(QStringLiteral("btnTitleClose"));
    m_close->setText(QStringLiteral("✕"));
    m_close->setToolTip(QStringLiteral("关闭"));
    m_close->setFocusPolicy(Qt::NoFocus);
    m_close->setAutoRaise(true);
    connect(m_close, &QToolButton::clicked, this, &TitleBar::closeRequested);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 4, 4, 4);
    layout->setSpacing(6);
    layout->addWidget(mark);
    layout->addWidget(m_caption, 1);
    layout->addWidget(m_close);
}

void TitleBar::setCaption(const QString& caption)
{
    m_caption->setText(caption);
}

QString TitleBar::caption() const
{
    return m_caption->text();
}

void TitleBar::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    // The window system moves the window where it can (Wayland allows nothing else).
    if (QWindow* handle = window()->windowHandle(); handle && handle->startSystemMove()) {
        event->accept();
        return;
    }
    m_dragging = true;
    m_grabOffset = event->globalPosition().toPoint() - window()->frameGeometry().topLeft();
    event->accept();
}

void TitleBar::mouseMoveEvent(QMouseEvent* event)
{
    if (!m_dragging) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    window()->move(event->globalPosition().toPoint() - m_grabOffset);
    event->accept();
}

void TitleBar::mouseReleaseEvent(QMouseEvent* event)
{
    m_dragging = false;
    QWidget::mouseReleaseEvent(event);
}
