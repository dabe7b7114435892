#pragma once

#include "widgets/FramelessDialog.h"

class QLabel;

// The confirmation window: a question with 确定 (yes) and 取消 (no). Closing it counts as no.
// When it appears it plays the prompt sound it was given.
class ConfirmWindow : public FramelessDialog {
    Q_OBJECT
public:
    // An empty question asks the exit question.
    explicit ConfirmWindow(QWidget* parent, const QString& question = {});

    QString question() const;
    bool yes() const { return result() == QDialog::Accepted; }

    // The file to play each time the window appears; empty: silence.
    void setSound(const QString& filePath) { m_sound = filePath; }
    QString sound() const { return m_sound; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    QLabel* m_question;
    QString m_sound;
};
