#pragma once

#include <QMimeData>
#include <functional>

// What a paste puts on the clipboard. It notices when its data is rendered for someone: the
// system's clipboard asks for the data only to hand it to a program that requested it in a
// format we offer, so a rendering is the proof that the program got the content.
class ClipboardContent : public QMimeData {
    Q_OBJECT
public:
    // Called with the size of what was rendered.
    using Observer = std::function<void(qint64 bytes)>;

    void setObserver(Observer observer) { m_observer = std::move(observer); }

protected:
    QVariant retrieveData(const QString& mimeType, QMetaType type) const override;

private:
    Observer m_observer;
};
