#include "data/GbkCodec.h"

#include <memory>
#include <unicode/ucnv.h>

namespace {

struct ConverterCloser {
    void operator()(UConverter* c) const { ucnv_close(c); }
};
using Converter = std::unique_ptr<UConverter, ConverterCloser>;

// Converters keep state, so each thread gets its own; opening one costs far more than using it.
UConverter* converter()
{
    thread_local Converter conv = [] {
        UErrorCode status = U_ZERO_ERROR;
        Converter c(ucnv_open("windows-936", &status));
        if (U_FAILURE(status))
            c.reset();
        return c;
    }();
    return conv.get();
}

} // namespace

namespace GbkCodec {

std::optional<QByteArray> encodeCodePoint(char32_t codePoint)
{
    UConverter* conv = converter();
    if (!conv || codePoint > 0x10FFFF)
        return std::nullopt;
    UChar units[2];
    int32_t length = 0;
    if (codePoint > 0xFFFF) {
        units[0] = static_cast<UChar>(0xD7C0 + (codePoint >> 10));
        units[1] = static_cast<UChar>(0xDC00 | (codePoint & 0x3FF));
        length = 2;
    } else {
        units[0] = static_cast<UChar>(codePoint);
        length = 1;
    }
    UErrorCode status = U_ZERO_ERROR;
    ucnv_reset(conv);
    // Stop at the first unmappable character instead of writing a substitute byte.
    ucnv_setFromUCallBack(conv, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    char out[8];
    const int32_t written = ucnv_fromUChars(conv, out, sizeof out, units, length, &status);
    if (U_FAILURE(status) || written <= 0)
        return std::nullopt;
    return QByteArray(out, written);
}

QString decode(const QByteArray& bytes)
{
    UConverter* conv = converter();
    if (!conv)
        return QString::fromLatin1(bytes);
    QString out(bytes.size(), Qt::Uninitialized);
    UErrorCode status = U_ZERO_ERROR;
    ucnv_reset(conv);
    const int32_t written =
        ucnv_toUChars(conv, reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()),
                      bytes.constData(), static_cast<int32_t>(bytes.size()), &status);
    if (U_FAILURE(status))
        return QString::fromLatin1(bytes);
    out.truncate(written);
    return out;
}

} // namespace GbkCodec
