#include "panel/docking/DockSwitch.h"

QString DockSwitch::dockCaption()
{
    return QStringLiteral("吸附");
}

QString DockSwitch::floatCaption()
{
    return QStringLiteral("悬停");
}

DockSwitch::Action DockSwitch::click()
{
    if (m_caption == dockCaption()) {
        m_caption = floatCaption();
        m_dockingOn = QStringLiteral("1");
        return Action::Dock;
    }
    m_caption = dockCaption();
    m_dockingOn = QStringLiteral("0");
    return Action::Undock;
}

bool DockSwitch::undock()
{
    if (m_caption != floatCaption())
        return false;
    m_caption = dockCaption();
    m_dockingOn = QStringLiteral("0");
    return true;
}
