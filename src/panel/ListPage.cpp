#include "panel/ListPage.h"

#include "panel/EntryView.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QVBoxLayout>

const QList<ListPage::PageDef>& ListPage::pageDefs()
{
    using K = EntryListModel::ListKind;
    static const QList<PageDef> all = {
        {K::Simple, "picSimple", "lvSimple", "cmdSimpleType", "txtSimple", Table::SimpleType,
         SearchMode::Simple, Setting::StartLoadSimple},
        {K::File, "picFile", "lvFile", "cmdFileType", "txtFile", Table::FileType, SearchMode::Files,
         Setting::StartLoadFile},
        {K::Tools, "picTools", "lvTools", "cmdToolsType", "txtTools", Table::ToolsType,
         SearchMode::Tools, Setting::StartLoadTools},
        {K::Personal, "picPersonal", "lvPersonal", "cmdPersonalType", "txtPersonal",
         Table::PersonalType, SearchMode::Personal, Setting::StartLoadPersonal},
    };
    return all;
}

ListPage::ListPage(const PageDef& def, Store& store, SearchService& search,
                   const Settings& settings, QWidget* parent)
    : QWidget(parent), m_def(def), m_store(store)
{
    setObjectName(QLatin1String(def.page));
    m_model = new EntryListModel(def.kind, store, search, settings, this);
    m_view = new EntryView(QLatin1String(def.list), true, this);
    m_view->setModel(m_model);
    m_picker = new QComboBox(this);
    m_picker->setObjectName(QLatin1String(def.picker));
    m_picker->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_picker->setMinimumContentsLength(4);
    m_filter = new QLineEdit(this);
    m_filter->setObjectName(QLatin1String(def.filter));
    m_filter->setClearButtonEnabled(true);
    m_filter->setPlaceholderText(QStringLiteral("名称或拼音首字母"));

    auto* row = new QHBoxLayout;
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(m_picker, 1);
    row->addWidget(m_filter, 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->setSpacing(2);
    layout->addLayout(row);
    layout->addWidget(m_view, 1);

    connect(m_model, &EntryListModel::problem, this, &ListPage::problem);
    // A category added or renamed in another window shows in the picker at once.
    connect(&m_store, &Store::changed, this, [this](Table table, qint64, Change) {
        if (table != m_def.categoryTable || m_picker->count() == 0)
            return;
        const qint64 chosen = chosenType();
        load(false);
        const int at = m_picker->findData(chosen);
        m_picker->setCurrentIndex(at >= 0 ? at : 0);
        if (at < 0 && chosen != 0)
            update();
    });
    connect(m_picker, &QComboBox::activated, this, &ListPage::update);
    // Text still being composed by an input method is not part of text(): only committed text
    // triggers a search.
    connect(m_filter, &QLineEdit::textChanged, this, &ListPage::update);
    connect(m_view, &EntryView::menuRequested, this, [this](const QModelIndex& index, QMenu* menu) {
        emit menuRequested(m_model->entry(index.row()), menu);
    });
    connect(m_view, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& index) {
        const bool onIcon =
            m_view->isOnIcon(index, m_view->lastClick()) && m_model->hasPicture(index.row());
        emit activated(m_model->entry(index.row()), onIcon);
    });
}

qint64 ListPage::chosenType() const
{
    return m_picker->currentData().toLongLong();
}

void ListPage::load(bool withList)
{
    Result<QList<NamedId>> categories =
        m_store.categoryList(m_def.categoryTable, QStringLiteral("请选择分类"));
    if (!categories) {
        emit problem(categories.message());
        return;
    }
    m_picker->clear();
    for (const NamedId& c : categories.value())
        m_picker->addItem(c.name, c.id);
    m_picker->setCurrentIndex(0);
    if (withList)
        update();
}

void ListPage::update()
{
    const QString text = m_filter->text().trimmed();
    if (text.isEmpty())
        m_model->showAll(chosenType());
    else
        m_model->showSearch(text, m_def.mode, chosenType());
}
