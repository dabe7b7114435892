#include "send/Sender.h"

#include "data/Columns.h"
#include "data/Settings.h"
#include "data/Store.h"
#include "send/ClipboardContent.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QUrl>

namespace {

ClipboardContent* mimeForFile(const QString& path)
{
    auto* mime = new ClipboardContent;
    const QUrl url = QUrl::fromLocalFile(path);
    mime->setUrls({url});
    // File managers on Linux read this to paste a copied file.
    mime->setData(QStringLiteral("x-special/gnome-copied-files"),
                  QByteArray("copy\n") + url.toEncoded());
    return mime;
}

} // namespace

Sender::Sender(Store& store, const Settings& settings, Desktop& desktop, InputWindow& input,
               const QString& rootFolder, QObject* parent)
    : QObject(parent), m_store(store), m_settings(settings), m_desktop(desktop), m_input(input),
      m_cache(rootFolder), m_paste(desktop)
{
    connect(&m_paste, &PasteSequence::finished, this, [this](bool ok, const QString& problem) {
        if (!ok)
            emit message(problem);
        emit pasteFinished(ok, problem);
    });
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

void Sender::perform(const SendAction& action, PasteOrigin origin)
{
    switch (action.type) {
    case SendAction::Type::Nothing:
        return;
    case SendAction::Type::SendText:
        sendText(action.text, origin);
        break;
    case SendAction::Type::SendPicture:
        sendPicture(action.kind, action.id, false, origin);
        break;
    case SendAction::Type::SendFile:
        sendFile(action.id, origin);
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

void Sender::deliver(ClipboardContent* mime, std::optional<PasteOrigin> origin)
{
    if (!mime)
        return;
    const auto toClipboard = [mime] {
        QClipboard* clipboard = QGuiApplication::clipboard();
        clipboard->clear();
        clipboard->setMimeData(mime);
    };
    if (!origin) {
        toClipboard();
        return;
    }
    if (!m_pasting) {
        // The agent was told once why; the content waits on the clipboard.
        toClipboard();
        emit pasteFinished(false, m_desktop.unavailableReason());
        return;
    }
    const WindowId target = m_input.target(*origin);
    if (target == 0) {
        toClipboard();
        const QString why = QStringLiteral("没有找到要粘贴的聊天窗口，内容已复制到剪贴板。");
        emit message(why);
        emit pasteFinished(false, why);
        return;
    }
    m_paste.start(mime, target, configuredSendKey());
}

void Sender::sendText(const QString& text, PasteOrigin origin)
{
    auto* mime = new ClipboardContent;
    mime->setText(text);
    deliver(mime, origin);
}

void Sender::sendPicture(SearchKind kind, qint64 id, bool asFile, PasteOrigin origin)
{
    deliver(pictureMime(kind, id, asFile), origin);
}

void Sender::sendFile(qint64 id, PasteOrigin origin)
{
    deliver(fileMime(id), origin);
}

void Sender::copyPicture(SearchKind kind, qint64 id)
{
    deliver(pictureMime(kind, id, false), std::nullopt);
}

void Sender::copyFile(qint64 id)
{
    deliver(fileMime(id), std::nullopt);
}

ClipboardContent* Sender::pictureMime(SearchKind kind, qint64 id, bool asFile)
{
    const bool personal = kind == SearchKind::Personal;
    const Table table = personal ? Table::Personal : Table::Knowledge;
    Result<std::optional<Row>> row = m_store.row(table, id, {Column::ExtName});
    if (!row) {
        emit message(row.message());
        return nullptr;
    }
    if (!row.value())
        return nullptr;
    const QString extname = row.value()->value(Column::ExtName).toString().trimmed();
    Result<std::optional<QString>> path =
        m_cache.picture(personal, id, extname, [&] { return m_store.blob(table, id); });
    if (!path) {
        emit message(path.message());
        return nullptr;
    }
    if (!path.value())
        return nullptr; // no picture stored
    // Chat clients take a png more reliably as a file than as a bitmap.
    if (!asFile && extname.compare(QLatin1String("png"), Qt::CaseInsensitive) != 0) {
        const QImage image(*path.value());
        if (!image.isNull()) {
            auto* mime = new ClipboardContent;
            mime->setImageData(image);
            return mime;
        }
    }
    return mimeForFile(*path.value());
}

ClipboardContent* Sender::fileMime(qint64 id)
{
    Result<std::optional<Row>> row = m_store.row(Table::File, id, {Column::Name, Column::ExtName});
    if (!row) {
        emit message(row.message());
        return nullptr;
    }
    if (!row.value())
        return nullptr;
    Result<std::optional<QString>> path =
        m_cache.file(id, row.value()->value(Column::Name).toString(),
                     row.value()->value(Column::ExtName).toString(),
                     [&] { return m_store.blob(Table::File, id); });
    if (!path) {
        emit message(path.message());
        return nullptr;
    }
    if (!path.value())
        return nullptr;
    return mimeForFile(*path.value());
}
