#pragma once

#include "data/DataRoot.h"

#include <QList>
#include <QString>

class QWidget;
class Settings;

enum class DialogKind {
    Message,  // the message window with OK
    Question, // the message window with Yes and No
    Confirm,  // the confirmation window
};

// What a window would have shown while dialogs are being recorded.
struct ShownDialog {
    DialogKind kind = DialogKind::Message;
    QString caption;
    QString text;
    QString sound; // the prompt sound the window would have played; empty: none
};

// The one way every window tells the user something or asks a question. A true answer is "yes".
//
// Tests switch on recording: messages are then recorded instead of shown, and each question
// takes the next queued answer without showing a window. A question with no queued answer ends
// the program with a fatal message, so a forgotten answer can never block a test.
class Dialogs {
public:
    static QString defaultCaption(); // 客服Tavro
    static QString exitQuestion();   // 您确认要退出吗？

    // Where the confirmation window's sound rule reads MessageSound and sound.wav. The settings
    // must outlive their use here; pass nullptr to silence the window.
    static void configure(const Settings* settings, const DataRoot& root);

    static void message(QWidget* parent, const QString& text, const QString& caption = {});
    // Asks in the message window (Yes/No).
    static bool askYesNo(QWidget* parent, const QString& question, const QString& caption = {});
    // Asks in the confirmation window; an empty question asks the exit question.
    static bool confirm(QWidget* parent, const QString& question = {});

    // Recording for tests. Switching it either way forgets queued answers and recorded dialogs.
    static void setRecording(bool on);
    static bool isRecording();
    // Switches recording on and queues the answer of the next question.
    static void queueAnswer(bool yes);
    static int queuedAnswers();
    // The dialogs recorded since the last call, oldest first.
    static QList<ShownDialog> takeShown();

private:
    static bool answerRecorded(DialogKind kind, const QString& caption, const QString& text,
                               const QString& sound);
};
