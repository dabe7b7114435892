#include "panel/BottomQueryBar.h"

#include "panel/EntryListModel.h"
#include "panel/EntryView.h"
#include "send/InputWindow.h"
#include "send/Sender.h"

#include <QEvent>
#include <QLineEdit>
#include <QMenu>
#include <QVBoxLayout>

namespace {
constexpr int ResultsHeight = 220;
}

QString BottomQueryBar::windowCaption()
{
    return QStringLiteral("QuillmateBottomQuery");
}

QString BottomQueryBar::prompt()
{
    return QStringLiteral("请在此输入关键字查询（如果不需要底部查询窗口，可以在设置中关闭）");
}

BottomQueryBar::BottomQueryBar(Store& store, SearchService& search, const Settings& settings,
                               Sender& sender, InputWindow& input, QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
      m_settings(settings), m_sender(sender), m_input(input)
{
    setObjectName(QStringLiteral("frmQuery"));
    setWindowTitle(windowCaption());
    m_model = new EntryListModel(EntryListModel::ListKind::Query, store, search, settings, this);
    m_view = new EntryView(QStringLiteral("lvQueryBar"), true, this);
    m_view->setModel(m_model);
    m_view->hide();
    m_text = new QLineEdit(this);
    m_text->setObjectName(QStringLiteral("txtQuery"));
    m_text->setPlaceholderText(prompt());
    m_text->setClearButtonEnabled(true);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_view, 1);
    layout->addWidget(m_text);

    connect(m_text, &QLineEdit::textChanged, this, &BottomQueryBar::search);
    connect(m_view, &EntryView::menuRequested, this, &BottomQueryBar::fillMenu);
    connect(m_view, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& index) {
        const bool onIcon =
            m_view->isOnIcon(index, m_view->lastClick()) && m_model->hasPicture(index.row());
        emit activated(m_model->entry(index.row()), onIcon);
    });
}

void BottomQueryBar::placeAt(const QRect& bar)
{
    m_bar = bar;
    layoutResults();
}

void BottomQueryBar::layoutResults()
{
    if (m_bar.isEmpty())
        return;
    const bool results = !m_text->text().trimmed().isEmpty();
    m_view->setVisible(results);
    const int extra = results ? ResultsHeight : 0;
    const QRect wanted(m_bar.left(), m_bar.top() - extra, m_bar.width(), m_bar.height() + extra);
    if (geometry() != wanted)
        setGeometry(wanted);
}

void BottomQueryBar::search()
{
    const QString text = m_text->text().trimmed();
    if (text.isEmpty())
        m_model->clear();
    else
        m_model->showSearch(text, SearchMode::All);
    layoutResults();
}

void BottomQueryBar::changeEvent(QEvent* event)
{
    // Typing into the bar takes the focus from the chat window, which is where pastes go.
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        m_input.noteForeground();
    QWidget::changeEvent(event);
}

void BottomQueryBar::fillMenu(const QModelIndex& index, QMenu* menu)
{
    const EntryRef entry = m_model->entry(index.row());
    QAction* picture = menu->addAction(QStringLiteral("复制图片"));
    picture->setObjectName(QStringLiteral("mnuCopyPic"));
    picture->setEnabled(
        (entry.kind == SearchKind::Knowledge || entry.kind == SearchKind::Personal) &&
        m_model->hasPicture(index.row()));
    connect(picture, &QAction::triggered, this, [this, entry] {
        m_sender.copyPicture(entry.kind, entry.id);
        m_sender.recordUse(entry.kind, entry.id);
    });
    QAction* file = menu->addAction(QStringLiteral("复制文件"));
    file->setObjectName(QStringLiteral("mnuCopyFile"));
    file->setEnabled(entry.kind == SearchKind::File);
    connect(file, &QAction::triggered, this, [this, entry] {
        m_sender.copyFile(entry.id);
        m_sender.recordUse(entry.kind, entry.id);
    });
    emit menuRequested(entry, menu);
}
