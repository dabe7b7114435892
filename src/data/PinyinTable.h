#pragma once

#include "data/Result.h"

#include <QByteArray>
#include <QString>
#include <QStringView>

// The pinyin initials of Chinese characters, looked up in pylib.dll by each character's GBK
// code. Lookups are const and may run on several threads at once.
class PinyinTable {
public:
    // Reads the table file line by line, dropping line breaks. On failure the table is empty
    // and the message is "加载库文件 <path> 失败！".
    Result<void> loadLibFile(const QString& path);
    bool loadLibSuccess() const { return m_loaded; }

    // The initial of the first character of text: a single-byte character upper-cased (a blank
    // gives nothing), a double-byte character its table letter, anything else "?".
    QString getPY(QStringView text) const;
    // getPY of each character, concatenated.
    QString getPYEx(QStringView text) const;

private:
    // What getPY gives for one code point: one UTF-16 unit, or kNoInitial for nothing.
    char16_t initial(char32_t codePoint) const;

    static constexpr char16_t kNoInitial = 0xFFFF;

    // Position n (1-based) at index n - 1, already reduced to what a lookup returns.
    QByteArray m_letters;
    bool m_loaded = false;
};
