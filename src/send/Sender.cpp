#include "Sender.h"

#include "InputWindowTracker.h"
#include "Settings.h"
#include "Store.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>
#include <QUrl>

namespace {

QMimeData* fileMime(const QString& path)
{
    auto* mime = new QMimeData;
    const QUrl url = QUrl::fromLocalFile(path);
    mime->setUrls({url});
    // File managers on Linux read this to paste a copied file.
    mime->setData(QStringLiteral("x-special/gnome-copied-files"),
                  QByteArray("copy\n") + url.toEncoded());
    return mime;
}

} // namespace

Sender::Sender(Store& store, const Settings& settings, Desktop& desktop, InputWindowTracker& input,
               const QString& rootFolder, QObject* parent)
    : QObject(parent), m_store(store), m_settings(settings), m_desktop(desktop), m_input(input),
      m_cache(rootFolder), m_paste(desktop)
{
    connect(&m_paste, &PasteSequence::finished, this, &Sender::pasteFinished);
}

PasteSequence::SendKey Sender::configuredSendKey() const
{
    const Settings::SendKey key = m_settings.autoPressSendKey();
    if (!key.on)
        return PasteSequence::SendKey::None;
    if (key.key == QLatin1String("Enter"))
        return PasteSequence::SendKey::Enter;
    if (key.key == QLatin1String("CtrlEnter"))
        return PasteSequence::SendKey::CtrlEnter;
    return PasteSequence::SendKey::None;
}

void Sender::perform(const SendAction& action)
{
    switch (action.type) {
    case SendAction::Type::Nothing:
        return;
    case SendAction::Type::SendText:
        sendText(action.text);
        break;
    case SendAction::Type::SendPicture:
        sendPicture(action.kind, action.id, false);
        break;
    case SendAction::Type::SendFile:
        sendFile(action.id);
        break;
    case SendAction::Type::OpenView:
        emit viewRequested(action.kind, action.id);
        break;
    case SendAction::Type::OpenUrl: {
        const QUrl url = QUrl::fromUserInput(action.target);
        // Only web addresses are opened; a stored address must not start programs.
        if (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https")) {
            emit message(QStringLiteral("网址无效：") + action.target);
            return;
        }
        if (m_desktop.openUrl(url) != Desktop::OpenResult::Opened) {
            emit message(QStringLiteral("路径或文件名错误！"));
            return;
        }
        break;
    }
    case SendAction::Type::OpenTool:
        if (m_desktop.openPath(action.target) == Desktop::OpenResult::NotFound) {
            emit message(QStringLiteral("路径或文件名错误！"));
            return;
        }
        break;
    }
    countUse(action);
}

void Sender::countUse(const SendAction& action)
{
    if (action.countUse)
        recordUse(action.kind, action.id);
}

void Sender::recordUse(SearchKind kind, qint64 id)
{
    if (id == 0)
        return;
    if (Result<void> r = m_store.addUse(SearchService::table(kind), id); !r)
        emit message(r.message());
}

void Sender::pasteClipboard(QMimeData* mime, bool paste, bool toForeground)
{
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setMimeData(mime);
    if (!paste)
        return;
    InputWindowTracker::Target target = m_input.take();
    if (toForeground)
        target = {};
    if (!m_pasting) {
        emit pasteFinished(false, m_desktop.unavailableReason());
        return;
    }
    m_paste.start(mime, target.restoreFocus ? target.window : 0, configuredSendKey());
}

void Sender::sendText(const QString& text)
{
    auto* mime = new QMimeData;
    mime->setText(text);
    pasteClipboard(mime);
}

void Sender::sendTextToForeground(const QString& text)
{
    auto* mime = new QMimeData;
    mime->setText(text);
    pasteClipboard(mime, true, true);
}

void Sender::sendPicture(SearchKind kind, qint64 id, bool asFile, bool paste)
{
    const bool personal = kind == SearchKind::Personal;
    const Table table = personal ? Table::Personal : Table::Knowledge;
    Result<std::optional<Row>> row = m_store.row(table, id, {QStringLiteral("extname")});
    if (!row) {
        emit message(row.message());
        return;
    }
    if (!row.value())
        return;
    const QString extname = row.value()->value(QStringLiteral("extname")).toString().trimmed();
    Result<std::optional<QString>> path =
        m_cache.picture(personal, id, extname, [&] { return m_store.blob(table, id); });
    if (!path) {
        emit message(path.message());
        return;
    }
    if (!path.value())
        return; // no picture stored
    // Chat clients take a png more reliably as a file than as a bitmap.
    if (!asFile && extname.compare(QLatin1String("png"), Qt::CaseInsensitive) != 0) {
        const QImage image(*path.value());
        if (!image.isNull()) {
            auto* mime = new QMimeData;
            mime->setImageData(image);
            pasteClipboard(mime, paste);
            return;
        }
    }
    pasteClipboard(fileMime(*path.value()), paste);
}

void Sender::sendFile(qint64 id, bool paste)
{
    Result<std::optional<Row>> row =
        m_store.row(Table::File, id, {QStringLiteral("name"), QStringLiteral("extname")});
    if (!row) {
        emit message(row.message());
        return;
    }
    if (!row.value())
        return;
    Result<std::optional<QString>> path =
        m_cache.file(row.value()->value(QStringLiteral("name")).toString(),
                     row.value()->value(QStringLiteral("extname")).toString(),
                     [&] { return m_store.blob(Table::File, id); });
    if (!path) {
        emit message(path.message());
        return;
    }
    if (!path.value())
        return;
    pasteClipboard(fileMime(*path.value()), paste);
}
