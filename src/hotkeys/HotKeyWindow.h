#pragma once

#include "hotkeys/HotKeyAssignments.h"
#include "widgets/FramelessDialog.h"

#include <QList>
#include <array>

class HotKeyManager;
class QCheckBox;
class QLineEdit;
class HotKeyBox;

// `frmHotKey`: the twelve combinations and what each pastes. Capture boxes K1..K12, content
// boxes T1..T12 (filled by the entry picker), chkSendTitleAndDesc1..12; btnSave checks and writes
// all twelve and registers them again, btnRestoreDefault puts F1..F12 back without writing.
// While the window is open the panel's hot keys are given up, so that they can be typed here.
class HotKeyWindow : public FramelessDialog {
    Q_OBJECT
public:
    explicit HotKeyWindow(HotKeyManager& manager, QWidget* parent = nullptr);
    ~HotKeyWindow() override;

    // n is 1..12.
    HotKeyBox* captureBox(int n) const;
    QList<qint64> content(int n) const;
    // What the entry picker chose for assignment n.
    void setContent(int n, const QList<qint64>& ids);

    void save();
    void restoreDefaults();

    void done(int result) override;

private:
    struct Assignment {
        HotKeyBox* key = nullptr;
        QLineEdit* content = nullptr;
        QCheckBox* withTitle = nullptr;
        QList<qint64> ids;
    };

    Assignment& assignment(int n) { return m_rows[static_cast<std::size_t>(n - 1)]; }
    const Assignment& assignment(int n) const { return m_rows[static_cast<std::size_t>(n - 1)]; }
    void chooseContent(int n);
    void showContent(int n);
    Result<void> write();
    void finish();

    HotKeyManager& m_manager;
    std::array<Assignment, HotKeyAssignments::Count> m_rows;
    bool m_saved = false;
    bool m_finished = false;
};
