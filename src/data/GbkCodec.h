#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

// The Chinese code page (GBK, as Windows code page 936) through ICU. Older installations wrote
// their files in it, and the pinyin table is laid out by its byte codes.
namespace GbkCodec {

// The GBK bytes of one code point: one byte for ASCII, two for a double-byte character, nothing
// when GBK has no such character.
std::optional<QByteArray> encodeCodePoint(char32_t codePoint);

// Text from GBK bytes; unconvertible bytes become U+FFFD.
QString decode(const QByteArray& bytes);

} // namespace GbkCodec
