#pragma once

#include <QPoint>
#include <QTreeView>

// A list or tree of entries that remembers where the last double-click landed, so the handler
// can tell a click on the entry's icon from one on its text.
class EntryView : public QTreeView {
    Q_OBJECT
public:
    explicit EntryView(const QString& objectName, bool isList, QWidget* parent = nullptr);

    // Whether `pos` (viewport coordinates) lies on the icon of the item at that place.
    bool isOnIcon(const QModelIndex& index, const QPoint& pos) const;
    QPoint lastClick() const { return m_lastClick; }

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    QPoint m_lastClick;
};
