#include "panel/QueryPage.h"

#include "panel/EntryView.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

QueryPage::QueryPage(Store& store, SearchService& search, const Settings& settings, QWidget* parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("picQuery"));
    m_model = new EntryListModel(EntryListModel::ListKind::Query, store, search, settings, this);
    m_view = new EntryView(QStringLiteral("lvQuery"), true, this);
    m_view->setModel(m_model);
    m_text = new QLineEdit(this);
    m_text->setObjectName(QStringLiteral("txtName"));
    m_text->setClearButtonEnabled(true);
    m_text->setPlaceholderText(QStringLiteral("名称或拼音首字母"));
    m_count = new QLabel(this);
    m_count->setObjectName(QStringLiteral("lblCount"));

    const QList<std::tuple<const char*, QString, SearchMode>> buttons = {
        {"btnFull", QStringLiteral("全部"), SearchMode::All},
        {"btnCommon", QStringLiteral("常用"), SearchMode::Common},
        {"btnWKnowledge", QStringLiteral("知识"), SearchMode::Knowledge},
        {"btnAffairs", QStringLiteral("事务"), SearchMode::Affairs},
        {"btnExpress", QStringLiteral("快递"), SearchMode::Couriers},
    };
    auto* grid = new QGridLayout;
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(2);
    int column = 0;
    for (const auto& [name, caption, mode] : buttons) {
        auto* b = new QPushButton(caption, this);
        b->setObjectName(QLatin1String(name));
        b->setCheckable(true);
        b->setAutoExclusive(true);
        b->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
        const SearchMode m = mode;
        connect(b, &QPushButton::clicked, this, [this, m] { setMode(m); });
        grid->addWidget(b, 0, column++);
        m_buttons.append({b, m});
    }
    m_buttons.first().first->setChecked(true);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->setSpacing(2);
    layout->addWidget(m_text);
    layout->addLayout(grid);
    layout->addWidget(m_view, 1);
    layout->addWidget(m_count);

    connect(m_model, &EntryListModel::problem, this, &QueryPage::problem);
    // Only committed text changes text(): composing with an input method searches nothing.
    connect(m_text, &QLineEdit::textChanged, this, &QueryPage::run);
    connect(m_model, &QAbstractItemModel::modelReset, this, &QueryPage::updateCount);
    connect(m_model, &QAbstractItemModel::rowsInserted, this, &QueryPage::updateCount);
    connect(m_model, &QAbstractItemModel::rowsRemoved, this, &QueryPage::updateCount);
    connect(m_view, &EntryView::menuRequested, this, [this](const QModelIndex& index, QMenu* menu) {
        emit menuRequested(m_model->entry(index.row()), menu);
    });
    connect(m_view, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& index) {
        const bool onIcon =
            m_view->isOnIcon(index, m_view->lastClick()) && m_model->hasPicture(index.row());
        emit activated(m_model->entry(index.row()), onIcon);
    });
    updateCount();
}

void QueryPage::setMode(SearchMode mode)
{
    m_mode = mode;
    for (const auto& [button, m] : m_buttons)
        button->setChecked(m == mode);
    run();
}

void QueryPage::run()
{
    m_model->showSearch(m_text->text(), m_mode);
}

void QueryPage::updateCount()
{
    m_count->setText(QStringLiteral("数量：") + QString::number(m_model->rowCount()));
}
