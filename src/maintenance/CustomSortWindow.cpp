#include "maintenance/CustomSortWindow.h"

#include "data/Columns.h"
#include "data/Settings.h"
#include "widgets/Dialogs.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpressionValidator>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QTreeWidgetItem* node(QTreeWidgetItem* parent, const QString& key, const QString& text)
{
    auto* item = new QTreeWidgetItem(parent, {text});
    item->setData(0, Qt::UserRole, key);
    return item;
}

} // namespace

CustomSortWindow::CustomSortWindow(Store& store, const Settings& settings, QWidget* parent)
    : FramelessDialog(parent), m_store(store), m_settings(settings), m_order(store)
{
    setObjectName(u"frmCustomSort"_s);
    setCaption(u"自定义排序"_s);
    m_tree = new QTreeWidget(this);
    m_tree->setObjectName(u"TreeView1"_s);
    m_tree->setHeaderHidden(true);
    m_list = new QTreeWidget(this);
    m_list->setObjectName(u"ListView1"_s);
    m_list->setHeaderLabels({u"编号"_s, u"名称"_s, u"序号"_s});
    m_list->setRootIsDecorated(false);
    m_list->setDragDropMode(QAbstractItemView::InternalMove);
    m_list->header()->setSectionsClickable(true);
    m_list->header()->setSortIndicatorShown(false);
    auto* entries = new QRadioButton(u"排列条目"_s, this);
    entries->setObjectName(u"optEntries"_s);
    entries->setChecked(true);
    m_categories = new QRadioButton(u"排列分类"_s, this);
    m_categories->setObjectName(u"optCategories"_s);
    m_number = new QLineEdit(this);
    m_number->setObjectName(u"txtNum"_s);
    m_number->setValidator(
        new QRegularExpressionValidator(QRegularExpression(u"[0-9]{0,9}"_s), m_number));
    auto* up = new QPushButton(u"上移"_s, this);
    up->setObjectName(u"btnUp"_s);
    auto* down = new QPushButton(u"下移"_s, this);
    down->setObjectName(u"btnDown"_s);

    auto* left = new QVBoxLayout;
    left->addWidget(entries);
    left->addWidget(m_categories);
    left->addWidget(m_tree);
    auto* tools = new QHBoxLayout;
    tools->addWidget(m_number);
    tools->addWidget(up);
    tools->addWidget(down);
    auto* right = new QVBoxLayout;
    right->addWidget(m_list);
    right->addLayout(tools);
    auto* columns = new QHBoxLayout;
    columns->addLayout(left, 2);
    columns->addLayout(right, 3);
    bodyLayout()->addLayout(columns);
    const CommandRow row = addCommandRow(u"btnSave"_s);
    row.ok->setText(u"保存"_s);
    connect(row.ok, &QPushButton::clicked, this, &CustomSortWindow::save);

    connect(m_tree, &QTreeWidget::itemClicked, this,
            [this](QTreeWidgetItem* item) { showList(item->data(0, Qt::UserRole).toString()); });
    connect(m_categories, &QRadioButton::toggled, this, [this] {
        if (!m_key.isEmpty())
            showList(m_key);
    });
    connect(m_list->header(), &QHeaderView::sectionClicked, this, &CustomSortWindow::headerClicked);
    connect(m_list, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* item) {
        m_filling = true;
        m_number->setText(item ? item->text(2) : QString());
        m_filling = false;
    });
    connect(m_number, &QLineEdit::textEdited, this, &CustomSortWindow::numberTyped);
    connect(up, &QPushButton::clicked, this, [this] { moveCurrent(-1); });
    connect(down, &QPushButton::clicked, this, [this] { moveCurrent(1); });
    // A drop arrives as rows removed and inserted; the new order is read once it is complete.
    connect(m_list->model(), &QAbstractItemModel::rowsInserted, this, [this] {
        if (!m_filling)
            QTimer::singleShot(0, this, &CustomSortWindow::readDroppedOrder);
    });
    resize(640, 520);
    fillTree();
}

void CustomSortWindow::fillTree()
{
    auto rows = [this](Table table, const Where& where = {}) {
        Query q;
        q.table = table;
        q.columns = {Column::Id, Column::Name};
        q.where = where;
        Result<QList<Row>> r = m_store.rows(q);
        return r ? r.value() : QList<Row>();
    };
    auto* root = m_tree->invisibleRootItem();
    for (const Row& item : rows(Table::Item)) {
        const qint64 id = item.value(Column::Id).toLongLong();
        QTreeWidgetItem* n = node(root, u"I%1"_s.arg(id), item.value(Column::Name).toString());
        if (id != 2)
            continue;
        for (const Row& type : rows(Table::Type, {{Column::ItemId, 2}})) {
            const qint64 typeId = type.value(Column::Id).toLongLong();
            QTreeWidgetItem* t = node(n, u"T%1"_s.arg(typeId), type.value(Column::Name).toString());
            for (const Row& goods : rows(Table::Goods, {{Column::TypeId, typeId}}))
                node(t, u"G%1"_s.arg(goods.value(Column::Id).toLongLong()),
                     goods.value(Column::Name).toString());
        }
    }
    const QList<std::tuple<QString, QString, Table>> sections = {
        {u"S"_s, u"简洁"_s, Table::SimpleType},
        {u"F"_s, u"文件"_s, Table::FileType},
        {u"L"_s, u"工具"_s, Table::ToolsType},
        {u"P"_s, u"私人"_s, Table::PersonalType}};
    for (const auto& [letter, caption, table] : sections) {
        QTreeWidgetItem* s = node(root, letter, caption);
        for (const Row& type : rows(table))
            node(s, letter + u"T%1"_s.arg(type.value(Column::Id).toLongLong()),
                 type.value(Column::Name).toString());
    }
}

void CustomSortWindow::showList(const QString& nodeKey)
{
    m_key = nodeKey;
    m_target =
        CustomOrder::target(nodeKey, m_categories->isChecked() ? CustomOrder::Scope::Categories
                                                               : CustomOrder::Scope::Entries);
    m_rows.clear();
    if (m_target) {
        Result<QList<CustomOrder::Row>> rows = m_order.load(*m_target);
        if (!rows)
            Dialogs::message(this, rows.message());
        else
            m_rows = rows.value();
    }
    fillRows();
}

void CustomSortWindow::fillRows()
{
    m_filling = true;
    const qint64 current = m_list->currentItem() ? m_list->currentItem()->text(0).toLongLong() : 0;
    m_list->clear();
    for (const CustomOrder::Row& r : std::as_const(m_rows)) {
        auto* item =
            new QTreeWidgetItem(m_list, {QString::number(r.id), r.name, QString::number(r.number)});
        item->setFlags(item->flags() & ~Qt::ItemIsDropEnabled);
        if (r.id == current)
            m_list->setCurrentItem(item);
    }
    m_filling = false;
}

void CustomSortWindow::readDroppedOrder()
{
    QList<CustomOrder::Row> ordered;
    for (int i = 0; i < m_list->topLevelItemCount(); ++i) {
        const qint64 id = m_list->topLevelItem(i)->text(0).toLongLong();
        for (const CustomOrder::Row& r : std::as_const(m_rows)) {
            if (r.id == id)
                ordered << r;
        }
    }
    if (ordered.size() != m_rows.size())
        return;
    m_rows = ordered;
    CustomOrder::renumber(m_rows);
    fillRows();
}

void CustomSortWindow::moveCurrent(int step)
{
    const int from = m_list->indexOfTopLevelItem(m_list->currentItem());
    if (from < 0)
        return;
    CustomOrder::move(m_rows, from, from + step);
    fillRows();
}

void CustomSortWindow::headerClicked(int column)
{
    if (column == 1) {
        CustomOrder::sortByName(m_rows);
    } else if (column == 2) {
        if (m_settings.flag(Setting::CustomSortInitialize) &&
            !Dialogs::confirm(this, u"您确认要初始化序号吗?"_s))
            return;
        CustomOrder::renumber(m_rows);
    }
    fillRows();
}

void CustomSortWindow::numberTyped(const QString& text)
{
    const int at = m_list->indexOfTopLevelItem(m_list->currentItem());
    if (m_filling || at < 0)
        return;
    m_rows[at].number = text.toLongLong();
    m_list->currentItem()->setText(2, QString::number(m_rows[at].number));
}

bool CustomSortWindow::save()
{
    if (!m_target)
        return false;
    if (Result<void> r = m_order.save(*m_target, m_rows); !r) {
        Dialogs::message(this, r.message());
        return false;
    }
    Dialogs::message(this, u"保存成功!"_s);
    return true;
}
