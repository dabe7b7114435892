#pragma once

#include "panel/EditActions.h"

#include <QObject>

class ContentWindows;
class QMenu;
class QWidget;
struct Services;

// The panel's way into the management windows: the 管理 menu, the view windows, and the New,
// Edit and Delete commands its right-click menus offer. A command the user may not carry out
// is shown disabled, as in the 管理 menu.
class PanelEditing : public QObject {
    Q_OBJECT
public:
    PanelEditing(const Services& services, QWidget* panel);

    ContentWindows& windows() const { return *m_windows; }

    // Adds `actions` to `menu`, after a separator when it holds commands already.
    void addCommands(QMenu* menu, const QList<EditAction>& actions);
    void run(const EditAction& action);

private:
    ContentWindows* m_windows;
};
