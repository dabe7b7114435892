#include "maintenance/CompactWindow.h"

#include "maintenance/WorkThread.h"
#include "widgets/Dialogs.h"
#include "widgets/TitleBar.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QMouseEvent>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

CompactWindow::CompactWindow(StoreMaintenance work, StoreId kind, QWidget* parent)
    : FramelessDialog(parent), m_work(std::move(work))
{
    const bool shared = kind == StoreId::Assistant;
    setObjectName(shared ? u"frmCompact"_s : u"frmCompactPer"_s);
    setCaption(shared ? u"数据压缩"_s : u"私人数据压缩"_s);
    m_prompt = new QLabel(u"开始压缩"_s, this);
    m_prompt->setObjectName(u"lblPrompt"_s);
    m_prompt->setAlignment(Qt::AlignCenter);
    m_prompt->setCursor(Qt::PointingHandCursor);
    m_prompt->setMinimumSize(260, 60);
    m_prompt->installEventFilter(this);
    m_sizes = new QLabel(this);
    m_sizes->setObjectName(u"lblSize"_s);
    m_sizes->setAlignment(Qt::AlignCenter);
    m_close = new QPushButton(u"关闭"_s, this);
    m_close->setObjectName(u"btnClose"_s);
    connect(m_close, &QPushButton::clicked, this, &QDialog::accept);
    m_stop = new QPushButton(u"取消"_s, this);
    m_stop->setObjectName(u"btnStop"_s);
    m_stop->hide();
    connect(m_stop, &QPushButton::clicked, this, [this] { m_stopped = true; });
    auto* row = new QHBoxLayout;
    row->addStretch();
    row->addWidget(m_stop);
    row->addWidget(m_close);
    bodyLayout()->addWidget(m_prompt);
    bodyLayout()->addWidget(m_sizes);
    bodyLayout()->addLayout(row);
}

bool CompactWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_prompt && event->type() == QEvent::MouseButtonRelease &&
        static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton)
        start();
    return FramelessDialog::eventFilter(watched, event);
}

void CompactWindow::start()
{
    if (m_running)
        return;
    m_running = true;
    m_prompt->setText(u"数据压缩中......"_s);
    m_close->setEnabled(false);
    titleBar()->setEnabled(false);
    m_stopped = false;
    m_stop->show();

    Result<StoreMaintenance::Sizes> sizes = StoreMaintenance::Sizes{};
    runOffThread([&] { sizes = m_work.compact([this](qint64, qint64) { return !m_stopped; }); });
    m_stop->hide();
    m_close->setEnabled(true);
    titleBar()->setEnabled(true);
    m_running = false;
    if (!sizes) {
        m_prompt->setText(u"开始压缩"_s);
        Dialogs::message(this, m_stopped ? u"压缩已取消，数据库没有改动。"_s : sizes.message());
        return;
    }
    m_prompt->setText(u"数据压缩完成！"_s);
    const QLocale locale;
    m_sizes->setText(u"压缩前 %1，压缩后 %2"_s.arg(locale.formattedDataSize(sizes->before),
                                                   locale.formattedDataSize(sizes->after)));
}
