#pragma once

#include "data/Progress.h"
#include "widgets/FramelessDialog.h"

#include <QElapsedTimer>
#include <atomic>
#include <functional>

class QLabel;
class QProgressBar;
class QPushButton;

// Long work (an import, an export, a backup, a compaction) with its progress in view and a way
// to stop it where stopping is safe. Only this window takes clicks meanwhile.
class ProgressWindow : public FramelessDialog {
    Q_OBJECT
public:
    ProgressWindow(const QString& caption, const QString& text, QWidget* parent);

    void setText(const QString& text);
    // The work may not be stopped (the window then has no 取消).
    void setCancellable(bool cancellable);

    // For work on this thread, as its Progress: shows the window, moves the bar (at most ten
    // times a second) and answers false once 取消 has been clicked.
    bool advance(qint64 done, qint64 total);
    Progress progress()
    {
        return [this](qint64 done, qint64 total) { return advance(done, total); };
    }

    // Runs `work` on a thread of its own while this window shows its progress and the program
    // keeps painting; returns once the work has ended.
    void runElsewhere(const std::function<void(const Progress&)>& work);

    bool cancelled() const { return m_cancelled.load(); }
    // Clicks 取消, as the user would.
    void cancel();

private:
    void showProgress(qint64 done, qint64 total);

    QLabel* m_text;
    QProgressBar* m_bar;
    QPushButton* m_cancel;
    QElapsedTimer m_shown;
    std::atomic<bool> m_cancelled{false};
};
