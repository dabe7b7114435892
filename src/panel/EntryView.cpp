#include "panel/EntryView.h"

#include <QContextMenuEvent>
#include <QHeaderView>
#include <QMenu>
#include <QMouseEvent>
#include <memory>

EntryView::EntryView(const QString& objectName, bool isList, QWidget* parent) : QTreeView(parent)
{
    setObjectName(objectName);
    setUniformRowHeights(true);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    if (isList) {
        setRootIsDecorated(false);
        setItemsExpandable(false);
        setAllColumnsShowFocus(true);
        header()->setStretchLastSection(true);
    } else {
        setHeaderHidden(true);
        // Double-clicking an entry sends it; sections and categories open with a single click
        // on their arrow or with the keyboard.
        setExpandsOnDoubleClick(true);
    }
}

bool EntryView::isOnIcon(const QModelIndex& index, const QPoint& pos) const
{
    if (!index.isValid() || index.data(Qt::DecorationRole).isNull())
        return false;
    const QRect cell = visualRect(index);
    const int iconRight = cell.left() + iconSize().width() + 6;
    return pos.x() >= cell.left() && pos.x() <= iconRight;
}

void EntryView::mousePressEvent(QMouseEvent* event)
{
    m_lastClick = event->position().toPoint();
    QTreeView::mousePressEvent(event);
}

void EntryView::mouseDoubleClickEvent(QMouseEvent* event)
{
    m_lastClick = event->position().toPoint();
    QTreeView::mouseDoubleClickEvent(event);
}

void EntryView::lockColumnWidths()
{
    header()->setSectionResizeMode(QHeaderView::Fixed);
    header()->setStretchLastSection(true);
}

QMenu* EntryView::menuAt(const QPoint& pos)
{
    const QModelIndex index = indexAt(pos);
    if (!index.isValid())
        return nullptr;
    setCurrentIndex(index);
    auto* menu = new QMenu(this);
    emit menuRequested(index, menu);
    return menu;
}

void EntryView::contextMenuEvent(QContextMenuEvent* event)
{
    // The viewport's event arrives here with the viewport's coordinates.
    const std::unique_ptr<QMenu> menu(menuAt(event->pos()));
    if (menu && !menu->isEmpty())
        menu->exec(event->globalPos());
}
