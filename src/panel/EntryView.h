#pragma once

#include <QMenu>
#include <QPoint>
#include <QTreeView>

// A list or tree of entries that remembers where the last double-click landed, so the handler
// can tell a click on the entry's icon from one on its text. Its right-click menu is filled by
// whoever listens to menuRequested; an empty menu is not shown.
class EntryView : public QTreeView {
    Q_OBJECT
public:
    explicit EntryView(const QString& objectName, bool isList, QWidget* parent = nullptr);

    // Whether `pos` (viewport coordinates) lies on the icon of the item at that place.
    bool isOnIcon(const QModelIndex& index, const QPoint& pos) const;
    QPoint lastClick() const { return m_lastClick; }
    // The agent can no longer drag the columns' widths.
    void lockColumnWidths();
    // The right-click menu of the row at `pos` (viewport coordinates), filled by the listeners;
    // nullptr off the rows. The caller owns it.
    QMenu* menuAt(const QPoint& pos);

signals:
    void menuRequested(const QModelIndex& index, QMenu* menu);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    QPoint m_lastClick;
};
