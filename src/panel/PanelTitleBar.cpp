#include "panel/PanelTitleBar.h"

#include "widgets/Skin.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWidgetAction>

namespace {

QToolButton* chromeButton(const char* name, const QString& text, const QString& tip,
                          QWidget* parent)
{
    auto* b = new QToolButton(parent);
    b->setObjectName(QLatin1String(name));
    b->setText(text);
    b->setToolTip(tip);
    b->setAutoRaise(true);
    return b;
}

QPushButton* toolButton(const char* name, const QString& text, QWidget* parent)
{
    auto* b = new QPushButton(text, parent);
    b->setObjectName(QLatin1String(name));
    return b;
}

} // namespace

PanelTitleBar::PanelTitleBar(const QString& title, bool administrator, QWidget* parent)
    : QWidget(parent)
{
    m_top = new QCheckBox(QStringLiteral("置顶"), this);
    m_top->setObjectName(QStringLiteral("chkTop"));
    m_dock = toolButton("btnXiFu", {}, this);
    auto* menuButton = toolButton("btnMenu", QStringLiteral("菜单"), this);
    m_menu = buildMenu(menuButton);
    m_manage = toolButton("btnManage", QStringLiteral("管理"), this);
    m_users = toolButton("btnUsers", QStringLiteral("用户"), this);
    // Management windows and user administration are for administrators only.
    m_manage->setEnabled(administrator);
    m_users->setEnabled(administrator);

    auto* tools = new QHBoxLayout;
    tools->setContentsMargins(2, 0, 2, 0);
    tools->addWidget(m_top);
    tools->addStretch(1);
    for (QWidget* w : {static_cast<QWidget*>(m_dock), static_cast<QWidget*>(menuButton),
                       static_cast<QWidget*>(m_manage), static_cast<QWidget*>(m_users)})
        tools->addWidget(w);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(buildStrip(title));
    layout->addLayout(tools);
}

QWidget* PanelTitleBar::buildStrip(const QString& title)
{
    m_strip = new QWidget(this);
    m_strip->setObjectName(QStringLiteral("titleBar"));
    m_strip->setAttribute(Qt::WA_StyledBackground);
    m_strip->installEventFilter(this);
    m_logo = new QLabel(m_strip);
    m_logo->setObjectName(QStringLiteral("imgLogo"));
    m_logo->setPixmap(Skin::appIcon().pixmap(20, 20));
    m_logo->setToolTip(QStringLiteral("点击取消吸附"));
    m_logo->installEventFilter(this);
    auto* caption = new QLabel(title, m_strip);
    caption->setObjectName(QStringLiteral("lblTitle"));
    auto* min = chromeButton("imgMin", QStringLiteral("–"), QStringLiteral("最小化"), m_strip);
    auto* up = chromeButton("imgGoUp", QStringLiteral("▴"), QStringLiteral("收起/展开"), m_strip);
    auto* close = chromeButton("imgClose", QStringLiteral("×"), QStringLiteral("退出"), m_strip);
    connect(min, &QToolButton::clicked, this, &PanelTitleBar::minimizeClicked);
    connect(up, &QToolButton::clicked, this, &PanelTitleBar::rollClicked);
    connect(close, &QToolButton::clicked, this, &PanelTitleBar::closeClicked);

    auto* strip = new QHBoxLayout(m_strip);
    strip->setContentsMargins(4, 2, 2, 2);
    strip->addWidget(m_logo);
    strip->addWidget(caption, 1);
    strip->addWidget(min);
    strip->addWidget(up);
    strip->addWidget(close);
    return m_strip;
}

QMenu* PanelTitleBar::buildMenu(QPushButton* button)
{
    // The window in front, as docking sees it: what a custom chat-window rule needs.
    auto* menu = new QMenu(button);
    auto* readout = new QWidget(menu);
    m_foregroundClass = new QLabel(readout);
    m_foregroundClass->setObjectName(QStringLiteral("txtClassName"));
    m_foregroundTitle = new QLabel(readout);
    m_foregroundTitle->setObjectName(QStringLiteral("txtTitle"));
    auto* readoutLayout = new QVBoxLayout(readout);
    readoutLayout->setContentsMargins(8, 4, 8, 4);
    readoutLayout->addWidget(new QLabel(QStringLiteral("当前窗口"), readout));
    for (QLabel* l : {m_foregroundClass, m_foregroundTitle}) {
        l->setTextInteractionFlags(Qt::TextSelectableByMouse);
        readoutLayout->addWidget(l);
    }
    auto* readoutAction = new QWidgetAction(menu);
    readoutAction->setDefaultWidget(readout);
    menu->addAction(readoutAction);
    menu->addSeparator();
    button->setMenu(menu);
    return menu;
}

void PanelTitleBar::showForeground(const QString& className, const QString& title)
{
    m_foregroundClass->setText(QStringLiteral("类名：") + className);
    m_foregroundTitle->setText(QStringLiteral("标题：") + title);
}

bool PanelTitleBar::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_logo && event->type() == QEvent::MouseButtonPress) {
        emit logoPressed();
        return false;
    }
    // The strip drags the frameless window.
    if (watched == m_strip) {
        auto* e = static_cast<QMouseEvent*>(event);
        QWidget* w = window();
        if (event->type() == QEvent::MouseButtonPress && e->button() == Qt::LeftButton) {
            m_dragging = true;
            m_dragOffset = e->globalPosition().toPoint() - w->frameGeometry().topLeft();
        } else if (event->type() == QEvent::MouseMove && m_dragging) {
            w->move(e->globalPosition().toPoint() - m_dragOffset);
        } else if (event->type() == QEvent::MouseButtonRelease) {
            m_dragging = false;
        }
    }
    return QWidget::eventFilter(watched, event);
}
