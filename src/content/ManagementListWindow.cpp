#include "content/ManagementListWindow.h"

#include "content/ContentServices.h"
#include "content/DeletePolicy.h"
#include "content/EntryForm.h"
#include "content/ListRows.h"
#include "data/Columns.h"
#include "data/Settings.h"
#include "widgets/Dialogs.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextDocument>
#include <QTreeWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

// The lines of text the form's text boxes show in this window; longer text scrolls.
constexpr int TextBoxLines = 3;

qint64 itemId(const QTreeWidgetItem* item)
{
    return item ? item->data(0, Qt::UserRole).toLongLong() : 0;
}

// A text box as tall as `lines` lines of its font, with its frame and the document's margin.
int textBoxHeight(const QPlainTextEdit* box, int lines)
{
    const int margin = static_cast<int>(box->document()->documentMargin());
    return box->fontMetrics().lineSpacing() * lines + 2 * (box->frameWidth() + margin);
}

} // namespace

ManagementListWindow::ManagementListWindow(const KindDescriptor& kind, ContentServices& services,
                                           QWidget* parent)
    : QWidget(parent, Qt::Window), m_kind(kind), m_services(services),
      m_form(new EntryForm(kind, services, this)), m_id(new QLineEdit(this)),
      m_list(new QTreeWidget(this)), m_count(new QLabel(this))
{
    setObjectName(m_kind.windowName());
    setWindowTitle(m_kind.listCaption);
    // Room for the tallest form, the knowledge one, and ten rows of the list.
    resize(720, 680);

    m_id->setObjectName(u"txtId"_s);
    m_id->setReadOnly(true);
    auto* idRow = new QFormLayout;
    idRow->addRow(u"编号："_s, m_id);

    auto* commands = new QHBoxLayout;
    QPushButton* addButton = button(m_kind.buttons.add, u"新增"_s);
    m_edit = button(m_kind.buttons.edit, u"编辑"_s);
    m_remove = button(m_kind.buttons.remove, u"删除"_s);
    QPushButton* queryButton = button(m_kind.buttons.query, u"查询"_s);
    for (QPushButton* b : {addButton, m_edit, m_remove, queryButton})
        commands->addWidget(b);
    connect(addButton, &QPushButton::clicked, this, &ManagementListWindow::add);
    connect(m_edit, &QPushButton::clicked, this, &ManagementListWindow::edit);
    connect(m_remove, &QPushButton::clicked, this, &ManagementListWindow::removeSelected);
    connect(queryButton, &QPushButton::clicked, this, &ManagementListWindow::query);
    QPushButton* extra = nullptr;
    switch (m_kind.extra) {
    case ListExtra::None:
        break;
    case ListExtra::ExportPictures:
        extra = button(u"btnCreateFullPic"_s, u"生成全部图片"_s);
        connect(extra, &QPushButton::clicked, this, &ManagementListWindow::exportAll);
        break;
    case ListExtra::ExportFiles:
        extra = button(u"btnExportFle"_s, u"导出全部文件"_s);
        connect(extra, &QPushButton::clicked, this, &ManagementListWindow::exportAll);
        break;
    case ListExtra::OpenPath:
        extra = button(u"btnOpenPath"_s, u"打开路径"_s);
        connect(extra, &QPushButton::clicked, m_form, &EntryForm::openToolFolder);
        break;
    }
    if (extra)
        commands->addWidget(extra);
    commands->addStretch(1);

    m_list->setObjectName(u"ListView1"_s);
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    QStringList captions;
    for (const ListColumn& c : m_kind.columns)
        captions << c.caption;
    m_list->setHeaderLabels(captions);
    m_list->header()->setSectionsMovable(false);
    m_count->setObjectName(u"lblCount"_s);
    // The list, not the form, takes the window's height: text boxes tall in the dialogs stay short.
    for (QPlainTextEdit* box : m_form->findChildren<QPlainTextEdit*>())
        box->setFixedHeight(textBoxHeight(box, TextBoxLines));

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(idRow);
    layout->addWidget(m_form);
    layout->addLayout(commands);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_count);

    connect(m_list, &QTreeWidget::currentItemChanged, this,
            &ManagementListWindow::onCurrentChanged);
    connect(m_list, &QTreeWidget::itemClicked, this, &ManagementListWindow::onItemClicked);
    if (m_kind.liveFilter)
        connect(m_form, &EntryForm::nameEdited, this, &ManagementListWindow::filterByName);

    // Pickers follow categories changed in other windows.
    connect(&m_services.store(), &Store::changed, this, [this](Table table, qint64, Change) {
        for (const FieldDef& f : m_kind.fields) {
            if (f.type == FieldType::Category && f.source == table) {
                m_form->reloadPickers();
                return;
            }
        }
    });

    reload();
}

QPushButton* ManagementListWindow::button(const QString& name, const QString& caption)
{
    auto* b = new QPushButton(caption, this);
    b->setObjectName(name);
    b->setAutoDefault(false);
    return b;
}

bool ManagementListWindow::readRows()
{
    Result<QList<Row>> rows = m_services.writer().list(m_kind);
    if (!rows) {
        Dialogs::message(this, rows.message());
        return false;
    }
    m_rows = std::move(rows).value();
    return true;
}

void ManagementListWindow::keep(const Row& row)
{
    const qint64 id = row.value(Column::Id).toLongLong();
    for (Row& r : m_rows) {
        if (r.value(Column::Id).toLongLong() == id) {
            r = row;
            return;
        }
    }
}

void ManagementListWindow::reload()
{
    if (readRows())
        showRows(m_rows);
}

void ManagementListWindow::showRows(const QList<Row>& rows)
{
    const QSignalBlocker quiet(m_list);
    m_list->clear();
    QList<QTreeWidgetItem*> items;
    items.reserve(rows.size());
    for (const Row& row : rows) {
        auto* item = new QTreeWidgetItem;
        fillItem(item, row);
        items << item;
    }
    m_list->addTopLevelItems(items);
    m_count->setText(ListRows::countText(int(items.size())));
}

void ManagementListWindow::fillItem(QTreeWidgetItem* item, const Row& row)
{
    item->setData(0, Qt::UserRole, row.value(Column::Id));
    for (int c = 0; c < m_kind.columns.size(); ++c)
        item->setText(c, ListRows::cellText(m_kind.columns.at(c), row));
}

bool ManagementListWindow::selectRow(qint64 id)
{
    for (int i = 0; i < m_list->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = m_list->topLevelItem(i);
        if (itemId(item) == id) {
            m_list->setCurrentItem(item);
            m_list->scrollToItem(item);
            return true;
        }
    }
    return false;
}

qint64 ManagementListWindow::selectedId() const
{
    return itemId(m_list->currentItem());
}

void ManagementListWindow::setRowCommands(bool enabled)
{
    m_edit->setEnabled(enabled);
    m_remove->setEnabled(enabled);
}

std::optional<Row> ManagementListWindow::loadRow(qint64 id)
{
    Result<std::optional<Row>> row = m_services.writer().load(m_kind, id);
    if (!row) {
        Dialogs::message(this, row.message());
        return std::nullopt;
    }
    return row.value();
}

void ManagementListWindow::onCurrentChanged()
{
    const qint64 id = selectedId();
    if (id == 0)
        return;
    const std::optional<Row> row = loadRow(id);
    if (!row)
        return;
    m_form->load(*row);
    m_id->setText(QString::number(id));
    setRowCommands(true);
}

void ManagementListWindow::onItemClicked(QTreeWidgetItem* item, int column)
{
    if (column < 0 || column >= m_kind.columns.size() ||
        m_kind.columns.at(column).format != CellFormat::CommonMark)
        return;
    const qint64 id = itemId(item);
    const std::optional<Row> row = loadRow(id);
    if (!row)
        return;
    const bool common = row->value(Column::CommonFlag).toInt() == 1;
    if (Result<void> r = m_services.store().setCommon(id, !common); !r) {
        Dialogs::message(this, r.message());
        return;
    }
    Row changed = *row;
    changed.insert(Column::CommonFlag, common ? 0 : 1);
    keep(changed);
    fillItem(item, changed);
    if (m_form->rowId() == id)
        m_form->load(changed);
}

void ManagementListWindow::add()
{
    const Result<qint64> r =
        m_services.writer().save(m_kind, m_form->valuesForNewRow(), SaveContext{false, false});
    if (!r) {
        Dialogs::message(this, r.message());
        return;
    }
    Dialogs::message(this, u"新增成功!"_s);
    reload();
    selectRow(r.value());
}

void ManagementListWindow::edit()
{
    const qint64 id = selectedId();
    if (id == 0) {
        Dialogs::message(this, m_kind.selectToEdit);
        return;
    }
    const Result<qint64> r =
        m_services.writer().save(m_kind, m_form->values(), SaveContext{true, false}, id);
    if (!r) {
        Dialogs::message(this, r.message());
        return;
    }
    Dialogs::message(this, u"编辑成功!"_s);
    Result<std::optional<Row>> row = m_services.writer().load(m_kind, id);
    if (row && row.value()) {
        keep(*row.value());
        fillItem(m_list->currentItem(), *row.value());
        m_form->load(*row.value());
    }
}

void ManagementListWindow::removeSelected()
{
    const qint64 id = selectedId();
    if (id == 0) {
        Dialogs::message(this, m_kind.deleting.selectFirst);
        return;
    }
    int children = 0;
    if (m_kind.isCategory()) {
        Result<int> count = m_services.store().childCount(m_kind.table, id);
        if (!count) {
            Dialogs::message(this, count.message());
            return;
        }
        children = count.value();
    }
    const DeletePolicy::Plan plan =
        DeletePolicy::plan(m_kind, m_services.settings().flag(Setting::TypeDelMode), children);
    if (plan.refused) {
        Dialogs::message(this, plan.text);
        return;
    }
    if (!Dialogs::confirm(this, plan.text))
        return;
    if (Result<Cascade> r = m_services.writer().remove(m_kind, id); !r) {
        Dialogs::message(this, r.message());
        return;
    }
    m_rows.removeIf([id](const Row& r) { return r.value(Column::Id).toLongLong() == id; });
    {
        const QSignalBlocker quiet(m_list);
        delete m_list->currentItem();
        m_list->setCurrentItem(nullptr);
    }
    m_count->setText(ListRows::countText(m_list->topLevelItemCount()));
    m_id->clear();
    m_form->clear();
    setRowCommands(false);
}

void ManagementListWindow::query()
{
    if (!readRows())
        return;
    const EntryValues filter = m_form->values();
    QList<Row> kept;
    for (const Row& row : std::as_const(m_rows)) {
        if (ListRows::matches(m_kind, row, filter))
            kept << row;
    }
    showRows(kept);
}

void ManagementListWindow::filterByName(const QString& text)
{
    // Every key stroke filters the rows last read, without asking the store again.
    QList<Row> kept;
    for (const Row& row : std::as_const(m_rows)) {
        if (ListRows::matchesName(m_kind, row, text))
            kept << row;
    }
    showRows(kept);
}

void ManagementListWindow::exportAll()
{
    const Result<int> written = m_services.files().exportAll(m_services.store(), m_kind);
    if (!written) {
        Dialogs::message(this, written.message());
        return;
    }
    Dialogs::message(this, m_services.files().exportReport(m_kind, written.value()));
}
