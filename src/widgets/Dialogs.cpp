#include "widgets/Dialogs.h"

#include "data/Settings.h"
#include "widgets/ConfirmWindow.h"
#include "widgets/MessageWindow.h"
#include "widgets/SoundPlayer.h"

#include <QPointer>
#include <QQueue>
#include <utility>

namespace {

struct DialogState {
    QPointer<const Settings> settings;
    DataRoot root{QString()};
    bool recording = false;
    QQueue<bool> answers;
    QList<ShownDialog> shown;
};

DialogState& state()
{
    static DialogState s;
    return s;
}

const char* kindName(DialogKind kind)
{
    switch (kind) {
    case DialogKind::Message:
        return "message";
    case DialogKind::Question:
        return "question";
    case DialogKind::Confirm:
        return "confirmation";
    }
    return "dialog";
}

} // namespace

QString Dialogs::defaultCaption()
{
    return QStringLiteral("客服Tavro");
}

QString Dialogs::exitQuestion()
{
    return QStringLiteral("您确认要退出吗？");
}

void Dialogs::configure(const Settings* settings, const DataRoot& root)
{
    state().settings = settings;
    state().root = root;
}

void Dialogs::message(QWidget* parent, const QString& text, const QString& caption)
{
    const QString shownCaption = caption.isEmpty() ? defaultCaption() : caption;
    if (state().recording) {
        state().shown.append({DialogKind::Message, shownCaption, text, {}});
        return;
    }
    MessageWindow window(parent, text, shownCaption);
    window.exec();
}

bool Dialogs::askYesNo(QWidget* parent, const QString& question, const QString& caption)
{
    const QString shownCaption = caption.isEmpty() ? defaultCaption() : caption;
    if (state().recording)
        return answerRecorded(DialogKind::Question, shownCaption, question, {});
    MessageWindow window(parent, question, shownCaption, MessageWindow::Buttons::YesNo);
    window.exec();
    return window.yes();
}

bool Dialogs::confirm(QWidget* parent, const QString& question)
{
    const QString text = question.isEmpty() ? exitQuestion() : question;
    const QString sound =
        state().settings ? SoundPlayer::promptSound(*state().settings, state().root) : QString();
    if (state().recording)
        return answerRecorded(DialogKind::Confirm, defaultCaption(), text, sound);
    ConfirmWindow window(parent, text);
    window.setSound(sound);
    window.exec();
    return window.yes();
}

void Dialogs::setRecording(bool on)
{
    state().recording = on;
    state().answers.clear();
    state().shown.clear();
}

bool Dialogs::isRecording()
{
    return state().recording;
}

void Dialogs::queueAnswer(bool yes)
{
    if (!state().recording)
        setRecording(true);
    state().answers.enqueue(yes);
}

int Dialogs::queuedAnswers()
{
    return static_cast<int>(state().answers.size());
}

QList<ShownDialog> Dialogs::takeShown()
{
    return std::exchange(state().shown, {});
}

bool Dialogs::answerRecorded(DialogKind kind, const QString& caption, const QString& text,
                             const QString& sound)
{
    state().shown.append({kind, caption, text, sound});
    if (state().answers.isEmpty())
        qFatal("Dialogs: %s asked with no answer queued: %s", kindName(kind), qPrintable(text));
    return state().answers.dequeue();
}
