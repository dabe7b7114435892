#pragma once

#include "data/StoreMaintenance.h"
#include "widgets/FramelessDialog.h"

#include <atomic>

class QLabel;
class QPushButton;

// frmCompact and frmCompactPer: a click on the prompt compacts the store, the close button
// waits meanwhile (取消 stops the work, leaving the store as it was), and the sizes before and
// after are shown.
class CompactWindow : public FramelessDialog {
    Q_OBJECT
public:
    CompactWindow(StoreMaintenance work, StoreId kind, QWidget* parent = nullptr);

    // What a click on the prompt does.
    void start();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    StoreMaintenance m_work;
    QLabel* m_prompt;
    QLabel* m_sizes;
    QPushButton* m_close;
    QPushButton* m_stop;
    bool m_running = false;
    std::atomic<bool> m_stopped{false};
};
