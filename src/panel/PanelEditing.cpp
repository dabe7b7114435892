#include "panel/PanelEditing.h"

#include "content/ContentWindows.h"

#include <QMenu>

namespace {

QString commandName(EditAction::Verb verb)
{
    switch (verb) {
    case EditAction::Verb::New:
        return QStringLiteral("mnuNew");
    case EditAction::Verb::Edit:
        return QStringLiteral("mnuEdit");
    case EditAction::Verb::Delete:
        return QStringLiteral("mnuDelete");
    }
    return {};
}

} // namespace

PanelEditing::PanelEditing(const Services& services, QWidget* panel)
    : QObject(panel), m_windows(new ContentWindows(services, panel))
{}

void PanelEditing::addCommands(QMenu* menu, const QList<EditAction>& actions)
{
    if (actions.isEmpty())
        return;
    if (!menu->isEmpty())
        menu->addSeparator();
    for (const EditAction& action : actions) {
        QAction* command = menu->addAction(action.text);
        command->setObjectName(commandName(action.verb));
        command->setEnabled(m_windows->mayManage(action.kind));
        connect(command, &QAction::triggered, this, [this, action] { run(action); });
    }
}

void PanelEditing::run(const EditAction& action)
{
    switch (action.verb) {
    case EditAction::Verb::New:
        m_windows->openNew(action.kind, action.presets);
        break;
    case EditAction::Verb::Edit:
        m_windows->openEdit(action.kind, action.id, action.fromQueryBar);
        break;
    case EditAction::Verb::Delete:
        m_windows->deleteFromMenu(action.kind, action.id);
        break;
    }
}
