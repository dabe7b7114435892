#pragma once

#include "panel/EntryListModel.h"

#include <QMenu>
#include <QWidget>

class EntryView;
class QLabel;
class QLineEdit;
class QPushButton;

// The query page: the search box `txtName`, the five filter buttons and the result list.
class QueryPage : public QWidget {
    Q_OBJECT
public:
    QueryPage(Store& store, SearchService& search, const Settings& settings,
              QWidget* parent = nullptr);

    EntryView* view() const { return m_view; }
    EntryListModel* model() const { return m_model; }
    QLineEdit* searchBox() const { return m_text; }
    SearchMode mode() const { return m_mode; }

    void setMode(SearchMode mode);
    void run();

signals:
    void activated(const EntryRef& entry, bool onIcon);
    void problem(const QString& message);
    // A right-click on a row: listeners add their commands to `menu`.
    void menuRequested(const EntryRef& entry, QMenu* menu);

private:
    void updateCount();

    EntryListModel* m_model;
    EntryView* m_view;
    QLineEdit* m_text;
    QLabel* m_count;
    QList<std::pair<QPushButton*, SearchMode>> m_buttons;
    SearchMode m_mode = SearchMode::All;
};
