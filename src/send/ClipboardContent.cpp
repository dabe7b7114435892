#include "send/ClipboardContent.h"

#include <QImage>

QVariant ClipboardContent::retrieveData(const QString& mimeType, QMetaType type) const
{
    const QVariant data = QMimeData::retrieveData(mimeType, type);
    if (data.isValid() && m_observer) {
        const qint64 bytes = data.typeId() == QMetaType::QImage ? data.value<QImage>().sizeInBytes()
                                                                : data.toByteArray().size();
        m_observer(bytes);
    }
    return data;
}
