#pragma once

#include "data/SettingsTable.h"
#include "panel/EntryListModel.h"

#include <QMenu>
#include <QWidget>

class EntryView;
class QComboBox;
class QLineEdit;

// One of the four list pages (phrases, files, tools, private knowledge): a category picker, a
// filter box and the list. The pages differ only in the description they are built from.
class ListPage : public QWidget {
    Q_OBJECT
public:
    struct PageDef {
        EntryListModel::ListKind kind;
        const char* page;   // picSimple …
        const char* list;   // lvSimple …
        const char* picker; // cmdSimpleType …
        const char* filter; // txtSimple …
        Table categoryTable;
        SearchMode mode;
        Setting startLoad;
    };
    static const QList<PageDef>& pageDefs();

    ListPage(const PageDef& def, Store& store, SearchService& search, const Settings& settings,
             QWidget* parent = nullptr);

    const PageDef& pageDef() const { return m_def; }
    EntryView* view() const { return m_view; }
    EntryListModel* model() const { return m_model; }
    QComboBox* picker() const { return m_picker; }
    QLineEdit* filter() const { return m_filter; }

    // Fills the category picker; with `withList` also the list.
    void load(bool withList);

signals:
    void activated(const EntryRef& entry, bool onIcon);
    void problem(const QString& message);
    // A right-click on a row: listeners add their commands to `menu`.
    void menuRequested(const EntryRef& entry, QMenu* menu);

private:
    void update();
    qint64 chosenType() const;

    PageDef m_def;
    Store& m_store;
    EntryListModel* m_model;
    EntryView* m_view;
    QComboBox* m_picker;
    QLineEdit* m_filter;
};
