#include "data/MixedText.h"

#include "data/GbkCodec.h"
#include "data/Utf8.h"

namespace {

// How a line reads as UTF-8: bytes in well-formed multi-byte sequences (and those in sequences
// of three bytes or more), and bytes that belong to none. ASCII is the same in both encodings
// and counts for nothing.
struct Utf8Fit {
    qsizetype good = 0;
    qsizetype wide = 0;
    qsizetype bad = 0;
};

Utf8Fit utf8Fit(QByteArrayView bytes)
{
    Utf8Fit fit;
    for (qsizetype i = 0; i < bytes.size();) {
        if (static_cast<uchar>(bytes.at(i)) < 0x80) {
            ++i;
        } else if (const qsizetype length = Utf8::sequenceLength(
                       reinterpret_cast<const uchar*>(bytes.data()) + i, bytes.size() - i);
                   length > 0) {
            fit.good += length;
            fit.wide += length >= 3 ? length : 0;
            i += length;
        } else {
            ++fit.bad;
            ++i;
        }
    }
    return fit;
}

QString decodeLine(QByteArrayView bytes)
{
    const Utf8Fit fit = utf8Fit(bytes);
    if ((fit.good == 0 && fit.bad == 0) || (fit.wide > 0 && fit.good > fit.bad))
        return QString::fromUtf8(bytes);
    return GbkCodec::decode(bytes.toByteArray());
}

} // namespace

namespace MixedText {

QString decode(QByteArray bytes)
{
    static const QByteArray bom("\xEF\xBB\xBF");
    if (bytes.startsWith(bom))
        bytes.remove(0, bom.size());
    if (utf8Fit(bytes).bad == 0)
        return QString::fromUtf8(bytes);
    // A line end is never part of a GBK character, so lines can be cut before decoding.
    QString text;
    text.reserve(bytes.size());
    qsizetype start = 0;
    while (start < bytes.size()) {
        qsizetype end = bytes.indexOf('\n', start);
        end = end < 0 ? bytes.size() : end + 1;
        text += decodeLine(QByteArrayView(bytes).sliced(start, end - start));
        start = end;
    }
    return text;
}

} // namespace MixedText
