#include "hotkeys/SelectContentWindow.h"

#include "data/Columns.h"
#include "data/Store.h"
#include "data/TreeSection.h"
#include "hotkeys/HotKeyAssignments.h"
#include "hotkeys/KnowledgePickModel.h"
#include "widgets/Dialogs.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <algorithm>

namespace {

void fillBox(QComboBox* box, const QList<NamedId>& entries)
{
    box->clear();
    for (const NamedId& e : entries)
        box->addItem(e.name, e.id);
    box->setCurrentIndex(0);
}

qint64 chosenId(const QComboBox* box)
{
    return box->currentIndex() > 0 ? box->currentData().toLongLong() : 0;
}

} // namespace

SelectContentWindow::SelectContentWindow(Store& store, const QList<qint64>& chosen, QWidget* parent)
    : FramelessDialog(parent), m_store(store), m_model(new KnowledgePickModel(this)),
      m_list(new QTableView(this)), m_title(new QLineEdit(this)), m_types(new QComboBox(this)),
      m_goods(new QComboBox(this)), m_count(new QLabel(this)), m_checkedCount(new QLabel(this)),
      m_chosen(chosen)
{
    setObjectName(QStringLiteral("frmSelectContent"));
    setModal(true);
    setCaption(QStringLiteral("选择热键内容"));
    resize(640, 480);

    m_title->setObjectName(QStringLiteral("txtTitle"));
    m_title->setPlaceholderText(QStringLiteral("请输入标题"));
    m_types->setObjectName(QStringLiteral("cbGoodsType"));
    m_goods->setObjectName(QStringLiteral("cbGoods"));
    m_count->setObjectName(QStringLiteral("lblCount"));
    m_checkedCount->setObjectName(QStringLiteral("lblChecked"));

    m_list->setObjectName(QStringLiteral("ListView"));
    m_list->setModel(m_model);
    m_list->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list->verticalHeader()->hide();
    m_list->horizontalHeader()->setStretchLastSection(true);
    m_list->setColumnWidth(KnowledgePickModel::Id, 80);
    m_list->setColumnWidth(KnowledgePickModel::Title, 220);

    auto* filters = new QHBoxLayout;
    filters->addWidget(m_title, 2);
    filters->addWidget(m_types, 1);
    filters->addWidget(m_goods, 1);
    bodyLayout()->addLayout(filters);
    bodyLayout()->addWidget(m_list, 1);

    const CommandRow commands = addCommandRow(QStringLiteral("btnOK"));
    commands.layout->insertWidget(0, m_checkedCount);
    commands.layout->insertWidget(0, m_count);
    connect(commands.ok, &QPushButton::clicked, this, &SelectContentWindow::confirm);
    connect(m_model, &QAbstractItemModel::modelReset, this, &SelectContentWindow::updateCounts);
    connect(m_model, &KnowledgePickModel::checkedChanged, this, &SelectContentWindow::updateCounts);
    // Only committed text searches: an input method's composition is not searched key by key.
    connect(m_title, &QLineEdit::textEdited, m_model, &KnowledgePickModel::quickQuery);
    connect(m_types, &QComboBox::activated, this, [this] {
        fillSmallCategories();
        applyFilter();
    });
    connect(m_goods, &QComboBox::activated, this, &SelectContentWindow::applyFilter);

    if (Result<void> loaded = m_model->load(m_store); !loaded)
        Dialogs::message(this, loaded.message());
    m_model->setChecked(chosen);
    fillBigCategories();
    fillSmallCategories();
    updateCounts();
}

void SelectContentWindow::fillBigCategories()
{
    Result<QList<NamedId>> types =
        m_store.categoryList(Table::Type, QStringLiteral("请选择大类"),
                             {{Column::ItemId, sectionId(TreeSection::Product)}});
    if (!types) {
        Dialogs::message(this, types.message());
        return;
    }
    QList<NamedId>& list = types.value();
    std::sort(list.begin() + 1, list.end(), [](const NamedId& a, const NamedId& b) {
        return QString::localeAwareCompare(a.name, b.name) < 0;
    });
    fillBox(m_types, list);
}

void SelectContentWindow::fillSmallCategories()
{
    const QString prompt = QStringLiteral("请选择小类");
    const qint64 typeId = chosenId(m_types);
    if (typeId == 0) {
        fillBox(m_goods, {{0, prompt}});
        return;
    }
    const Result<QList<NamedId>> goods =
        m_store.categoryList(Table::Goods, prompt, {{Column::TypeId, typeId}});
    if (!goods) {
        Dialogs::message(this, goods.message());
        return;
    }
    fillBox(m_goods, goods.value());
}

void SelectContentWindow::applyFilter()
{
    m_model->filter(m_title->text(), chosenId(m_types), chosenId(m_goods));
}

void SelectContentWindow::updateCounts()
{
    m_count->setText(QStringLiteral("数量：") + QString::number(m_model->rowCount()));
    m_checkedCount->setText(QStringLiteral("已选：") + QString::number(m_model->checkedCount()));
}

void SelectContentWindow::confirm()
{
    const QList<qint64> ids = m_model->checkedIds();
    if (ids.size() > HotKeyAssignments::MaxEntries) {
        Dialogs::message(this, QStringLiteral("最多只能选10条数据!"));
        return;
    }
    m_chosen = ids;
    accept();
}
