#include "panel/TreePage.h"

#include "data/Settings.h"
#include "data/TreeSection.h"
#include "panel/EntryView.h"

#include <QPushButton>
#include <QScrollBar>
#include <QVBoxLayout>

namespace {
using NodeKind = KnowledgeTreeModel::NodeKind;
}

TreePage::TreePage(Store& store, const Settings& settings, QWidget* parent)
    : QWidget(parent), m_settings(settings)
{
    setObjectName(QStringLiteral("picTree"));
    m_model = new KnowledgeTreeModel(store, this);
    m_view = new EntryView(QStringLiteral("TreeView1"), false, this);
    m_view->setModel(m_model);
    m_refresh = new QPushButton(QStringLiteral("刷新"), this);
    m_refresh->setObjectName(QStringLiteral("btnRefresh"));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->setSpacing(2);
    layout->addWidget(m_view, 1);
    layout->addWidget(m_refresh);

    m_expandTimer.setSingleShot(true);
    m_expandTimer.setInterval(0);
    connect(&m_expandTimer, &QTimer::timeout, this, &TreePage::expandVisible);
    auto later = [this] { m_expandTimer.start(); };
    connect(m_view->verticalScrollBar(), &QScrollBar::valueChanged, this, later);
    connect(m_view, &QTreeView::expanded, this, later);
    connect(m_model, &QAbstractItemModel::rowsInserted, this, later);

    connect(m_refresh, &QPushButton::clicked, this, &TreePage::load);
    connect(&m_settings, &Settings::changed, this, [this](Setting s) {
        if (s == Setting::Sort)
            m_model->resort();
    });
    connect(m_model, &KnowledgeTreeModel::problem, this, &TreePage::problem);
    connect(m_view, &EntryView::menuRequested, this, [this](const QModelIndex& index, QMenu* menu) {
        if (const KnowledgeTreeModel::Node* n = m_model->node(index))
            emit nodeMenuRequested(n, menu);
    });
    connect(m_view, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& index) {
        const KnowledgeTreeModel::Node* n = m_model->node(index);
        const bool onIcon = n && n->hasPicture && m_view->isOnIcon(index, m_view->lastClick());
        emit activated(m_model->entry(index), onIcon);
    });
}

void TreePage::load()
{
    m_autoExpanded.clear();
    m_model->setToolTips(m_settings.flag(Setting::TreeToolTip));
    m_model->reload();
    // The courier section follows the company-affairs flag; StartExpress is not consulted.
    const QList<std::pair<TreeSection, Setting>> roots = {
        {TreeSection::Common, Setting::StartCommon},
        {TreeSection::Product, Setting::StartProductKnowledge},
        {TreeSection::Affairs, Setting::StartCompanyAffairs},
        {TreeSection::Couriers, Setting::StartCompanyAffairs}};
    for (const auto& [section, flag] : roots) {
        if (m_settings.flag(flag))
            m_view->expand(m_model->indexForKey(QStringLiteral("I%1").arg(sectionId(section))));
    }
    m_expandTimer.start();
}

void TreePage::expandVisible()
{
    const bool bigs = m_settings.flag(Setting::StartGoodsType);
    const bool smalls = m_settings.flag(Setting::StartProduct);
    if (!bigs && !smalls)
        return;
    const int bottom = m_view->viewport()->height();
    for (QModelIndex idx = m_view->indexAt(QPoint(1, 1)); idx.isValid();
         idx = m_view->indexBelow(idx)) {
        const QRect r = m_view->visualRect(idx);
        if (r.top() > bottom)
            break;
        const KnowledgeTreeModel::Node* n = m_model->node(idx);
        if (!n)
            continue;
        const bool wanted =
            (n->kind == NodeKind::Type && n->itemId == sectionId(TreeSection::Product) && bigs) ||
            (n->kind == NodeKind::Goods && smalls);
        const QString key = KnowledgeTreeModel::key(*n);
        if (wanted && !m_autoExpanded.contains(key)) {
            m_autoExpanded.insert(key);
            m_view->expand(idx);
        }
    }
}
