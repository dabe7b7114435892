#pragma once

#include <QtGlobal>

// Well-formed UTF-8 as Unicode defines it: no overlong forms, no surrogates, nothing beyond
// U+10FFFF.
namespace Utf8 {

// The length (2 to 4) of the well-formed multi-byte sequence `bytes` starts with, or 0; `size`
// bytes may be read.
inline qsizetype sequenceLength(const uchar* bytes, qsizetype size)
{
    const uchar lead = bytes[0];
    qsizetype length = 0;
    uchar low = 0x80;
    uchar high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        // Neither overlong forms nor surrogates.
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        return 0;
    }
    if (length > size || bytes[1] < low || bytes[1] > high)
        return 0;
    for (qsizetype k = 2; k < length; ++k) {
        if (bytes[k] < 0x80 || bytes[k] > 0xBF)
            return 0;
    }
    return length;
}

} // namespace Utf8
