#pragma once

#include "data/Result.h"

#include <QList>
#include <QString>
#include <optional>

// An INI file read and written with the rules of the Windows profile functions, which the
// program has always used for config.ini:
// - section and key names compare case-insensitively; keys and values are trimmed of blanks
//   and tabs; ";" starts a comment line; lines without "=" are ignored; the first section and
//   the first key of a name win;
// - a read gives at most MaxValueLength characters;
// - a write changes only the one line it is about and keeps the file's own line ends.
// Files are UTF-8; lines in the Chinese code page (older installations, other editors) are read
// as GBK, each line decided on its own (MixedText), and become UTF-8 on the next write, which
// replaces the file whole or not at all.
class IniFile {
public:
    // The original read values into a 255-character buffer that kept room for the end mark.
    static constexpr qsizetype MaxValueLength = 254;

    explicit IniFile(QString filePath);

    QString filePath() const { return m_filePath; }

    // Reads the file into memory. A missing file reads as empty; a file that exists but cannot
    // be read is an error.
    Result<void> load();

    // The value of the key, or defaultValue when the section or the key is absent. A key with
    // an empty value reads as empty text. Both are cut to MaxValueLength.
    QString readIni(const QString& section, const QString& key, const QString& defaultValue) const;

    // Sets the key in the loaded text and saves the whole file at once. An existing key keeps
    // its line; a new one goes after the last key of its section; a new section goes at the end.
    Result<void> writeIni(const QString& section, const QString& key, const QString& value);

    // The line end new lines get: the file's own, or the platform's for a new or empty file.
    QString lineEnding() const { return m_lineEnding; }

    // The line end of a file that does not exist yet.
    static QString newFileLineEnding();

    // Cuts text the way a read does, without splitting a surrogate pair.
    static QString cutToValueLength(const QString& text);

private:
    struct Line {
        QString text;
        QString ending; // "\r\n", "\n", "\r" or empty for a last line without one
    };
    struct SectionRange {
        qsizetype header; // index of the "[name]" line
        qsizetype end;    // index of the next section's header, or the line count
    };

    void parse(const QString& text);
    std::optional<SectionRange> findSection(const QString& section) const;
    std::optional<qsizetype> findKey(const SectionRange& range, const QString& key) const;
    void insertLines(qsizetype position, const QStringList& texts);
    Result<void> save() const;

    QString m_filePath;
    QList<Line> m_lines;
    QString m_lineEnding;
};
