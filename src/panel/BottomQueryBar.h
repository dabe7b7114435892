#pragma once

#include "send/SendAction.h"

#include <QMenu>
#include <QWidget>

class EntryListModel;
class EntryView;
class InputWindow;
class QLineEdit;
class SearchService;
class Sender;
class Settings;
class Store;

// The bottom query bar: a small window inside the chat window's lower edge with a search box;
// its results open above it. A double-click sends like the panel's lists; the context menu
// copies a picture or a file without pasting, and offers what its listeners add.
class BottomQueryBar : public QWidget {
    Q_OBJECT
public:
    static QString windowCaption(); // QuillmateBottomQuery
    static QString prompt();

    BottomQueryBar(Store& store, SearchService& search, const Settings& settings, Sender& sender,
                   InputWindow& input, QWidget* parent = nullptr);

    // Places the bar's search line at `bar` (screen pixels); results grow upwards from it.
    void placeAt(const QRect& bar);
    EntryView* view() const { return m_view; }
    EntryListModel* model() const { return m_model; }
    QLineEdit* searchBox() const { return m_text; }

signals:
    void activated(const EntryRef& entry, bool onIcon);
    // A right-click on a result: listeners add their commands after the copy commands.
    void menuRequested(const EntryRef& entry, QMenu* menu);

protected:
    void changeEvent(QEvent* event) override;

private:
    void search();
    void layoutResults();
    void fillMenu(const QModelIndex& index, QMenu* menu);

    const Settings& m_settings;
    Sender& m_sender;
    InputWindow& m_input;
    EntryListModel* m_model;
    EntryView* m_view;
    QLineEdit* m_text;
    QRect m_bar;
};
