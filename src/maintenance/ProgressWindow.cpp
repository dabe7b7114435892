#include "maintenance/ProgressWindow.h"

#include "maintenance/WorkThread.h"
#include "widgets/TitleBar.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

// The bar's scale: totals beyond int range are shown in proportion.
constexpr int Scale = 1000;

} // namespace

ProgressWindow::ProgressWindow(const QString& caption, const QString& text, QWidget* parent)
    : FramelessDialog(parent)
{
    setObjectName(u"frmProgress"_s);
    setCaption(caption);
    setModal(true);
    titleBar()->setEnabled(false); // closing is 取消, or waiting
    m_text = new QLabel(text, this);
    m_text->setObjectName(u"lblPrompt"_s);
    m_text->setMinimumWidth(300);
    m_bar = new QProgressBar(this);
    m_bar->setObjectName(u"pbProgress"_s);
    m_bar->setRange(0, 0);
    m_cancel = new QPushButton(u"取消"_s, this);
    m_cancel->setObjectName(u"btnCancel"_s);
    m_cancel->setMinimumWidth(80);
    connect(m_cancel, &QPushButton::clicked, this, &ProgressWindow::cancel);
    auto* row = new QHBoxLayout;
    row->addStretch();
    row->addWidget(m_cancel);
    bodyLayout()->addWidget(m_text);
    bodyLayout()->addWidget(m_bar);
    bodyLayout()->addLayout(row);
}

void ProgressWindow::setText(const QString& text)
{
    m_text->setText(text);
}

void ProgressWindow::setCancellable(bool cancellable)
{
    m_cancel->setVisible(cancellable);
}

void ProgressWindow::cancel()
{
    m_cancelled = true;
    m_cancel->setEnabled(false);
    m_text->setText(u"正在取消……"_s);
}

void ProgressWindow::showProgress(qint64 done, qint64 total)
{
    if (total > 0) {
        m_bar->setRange(0, Scale);
        m_bar->setValue(static_cast<int>(std::min(done, total) * Scale / total));
    } else {
        m_bar->setRange(0, 0);
    }
}

bool ProgressWindow::advance(qint64 done, qint64 total)
{
    if (!isVisible()) {
        QDialog::show();
        m_shown.start();
        showProgress(done, total);
        QCoreApplication::processEvents();
    } else if (m_shown.elapsed() >= 100) {
        m_shown.restart();
        showProgress(done, total);
        // The window is modal: of the user's input only its own 取消 gets through.
        QCoreApplication::processEvents();
    }
    return !m_cancelled;
}

void ProgressWindow::runElsewhere(const std::function<void(const Progress&)>& work)
{
    std::atomic<qint64> done{0};
    std::atomic<qint64> total{0};
    const Progress report = [&](qint64 d, qint64 t) {
        done = d;
        total = t;
        return !m_cancelled.load();
    };
    QTimer tick;
    connect(&tick, &QTimer::timeout, this, [&] { showProgress(done, total); });
    tick.start(100);
    QDialog::show();
    runOffThread([&] { work(report); });
    hide();
}
