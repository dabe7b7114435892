#include "data/IniFile.h"

#include "data/AtomicFile.h"
#include "data/MixedText.h"

#include <QDir>
#include <QFile>
#include <utility>

namespace {

// Only blanks and tabs count, as in the profile functions; other white space is content.
bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

QStringView trimBlanks(QStringView text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isBlank(text.at(begin)))
        ++begin;
    while (end > begin && isBlank(text.at(end - 1)))
        --end;
    return text.sliced(begin, end - begin);
}

// The name of a "[name]" line, or nothing for any other line.
std::optional<QStringView> sectionName(QStringView line)
{
    const QStringView trimmed = trimBlanks(line);
    if (!trimmed.startsWith(QLatin1Char('[')))
        return std::nullopt;
    const qsizetype close = trimmed.indexOf(QLatin1Char(']'));
    if (close < 0)
        return std::nullopt;
    return trimBlanks(trimmed.sliced(1, close - 1));
}

struct KeyLine {
    QStringView key;
    QStringView value;
    qsizetype equals; // position of the "=" in the line
};

// A "key=value" line inside a section; comments, blank lines and lines without "=" are not.
std::optional<KeyLine> keyLine(QStringView line)
{
    const QStringView trimmed = trimBlanks(line);
    if (trimmed.startsWith(QLatin1Char(';')) || trimmed.startsWith(QLatin1Char('[')))
        return std::nullopt;
    const qsizetype equals = line.indexOf(QLatin1Char('='));
    if (equals < 0)
        return std::nullopt;
    const QStringView key = trimBlanks(line.first(equals));
    if (key.isEmpty())
        return std::nullopt;
    return KeyLine{key, trimBlanks(line.sliced(equals + 1)), equals};
}

bool sameName(QStringView a, QStringView b)
{
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

QString nativePath(const QString& path)
{
    return QDir::toNativeSeparators(path);
}

} // namespace

IniFile::IniFile(QString filePath)
    : m_filePath(std::move(filePath)), m_lineEnding(newFileLineEnding())
{}

QString IniFile::newFileLineEnding()
{
#ifdef Q_OS_WIN
    return QStringLiteral("\r\n");
#else
    return QStringLiteral("\n");
#endif
}

QString IniFile::cutToValueLength(const QString& text)
{
    if (text.size() <= MaxValueLength)
        return text;
    qsizetype length = MaxValueLength;
    if (text.at(length - 1).isHighSurrogate())
        --length;
    return text.first(length);
}

Result<void> IniFile::load()
{
    m_lines.clear();
    m_lineEnding = newFileLineEnding();
    QFile file(m_filePath);
    if (!file.exists())
        return {};
    if (!file.open(QIODevice::ReadOnly))
        return Error{QStringLiteral("无法读取配置文件 ") + nativePath(m_filePath)};
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return Error{QStringLiteral("无法读取配置文件 ") + nativePath(m_filePath)};
    parse(MixedText::decode(bytes));
    return {};
}

void IniFile::parse(const QString& text)
{
    qsizetype start = 0;
    while (start < text.size()) {
        const qsizetype newline = text.indexOf(QLatin1Char('\n'), start);
        Line line;
        if (newline < 0) {
            line.text = text.sliced(start);
            if (line.text.endsWith(QLatin1Char('\r'))) {
                line.text.chop(1);
                line.ending = QStringLiteral("\r");
            }
            start = text.size();
        } else {
            const bool crlf = newline > start && text.at(newline - 1) == QLatin1Char('\r');
            line.text = text.sliced(start, newline - start - (crlf ? 1 : 0));
            line.ending = crlf ? QStringLiteral("\r\n") : QStringLiteral("\n");
            start = newline + 1;
        }
        m_lines.append(std::move(line));
    }
    // A file that has lines follows its first line; only an empty one takes the platform's.
    if (!m_lines.isEmpty())
        m_lineEnding = m_lines.first().ending == QLatin1String("\r\n") ? QStringLiteral("\r\n")
                                                                       : QStringLiteral("\n");
}

std::optional<IniFile::SectionRange> IniFile::findSection(const QString& section) const
{
    for (qsizetype i = 0; i < m_lines.size(); ++i) {
        const auto name = sectionName(m_lines.at(i).text);
        if (!name || !sameName(*name, section))
            continue;
        qsizetype end = i + 1;
        while (end < m_lines.size() && !sectionName(m_lines.at(end).text))
            ++end;
        return SectionRange{i, end};
    }
    return std::nullopt;
}

std::optional<qsizetype> IniFile::findKey(const SectionRange& range, const QString& key) const
{
    for (qsizetype i = range.header + 1; i < range.end; ++i) {
        const auto parsed = keyLine(m_lines.at(i).text);
        if (parsed && sameName(parsed->key, key))
            return i;
    }
    return std::nullopt;
}

QString IniFile::readIni(const QString& section, const QString& key,
                         const QString& defaultValue) const
{
    const auto range = findSection(section);
    if (!range)
        return cutToValueLength(defaultValue);
    const auto index = findKey(*range, key);
    if (!index)
        return cutToValueLength(defaultValue);
    return cutToValueLength(keyLine(m_lines.at(*index).text)->value.toString());
}

Result<void> IniFile::writeIni(const QString& section, const QString& key, const QString& value)
{
    // A line break would end the line early and let the rest of the value pose as further keys.
    if (value.contains(QLatin1Char('\n')) || value.contains(QLatin1Char('\r')))
        return Error{QStringLiteral("配置项的值不能包含换行：") + key};

    const QList<Line> before = m_lines;
    const QString newLine = key + QLatin1Char('=') + value;
    if (const auto range = findSection(section)) {
        if (const auto index = findKey(*range, key)) {
            // The key keeps its own spelling and any blanks around it; only the value changes.
            Line& line = m_lines[*index];
            line.text = line.text.first(keyLine(line.text)->equals + 1) + value;
        } else {
            qsizetype after = range->header;
            for (qsizetype i = range->header + 1; i < range->end; ++i) {
                if (keyLine(m_lines.at(i).text))
                    after = i;
            }
            insertLines(after + 1, {newLine});
        }
    } else {
        insertLines(m_lines.size(), {QLatin1Char('[') + section + QLatin1Char(']'), newLine});
    }
    Result<void> saved = save();
    // Memory keeps matching the file when the file could not be replaced.
    if (!saved)
        m_lines = before;
    return saved;
}

void IniFile::insertLines(qsizetype position, const QStringList& texts)
{
    QList<Line> added;
    added.reserve(texts.size());
    for (const QString& text : texts)
        added.append(Line{text, m_lineEnding});
    // After a last line without a line end, that line gets one and the new last line goes
    // without, so the file's ending stays as it was.
    if (position > 0 && m_lines.at(position - 1).ending.isEmpty()) {
        m_lines[position - 1].ending = m_lineEnding;
        added.last().ending.clear();
    }
    for (qsizetype i = 0; i < added.size(); ++i)
        m_lines.insert(position + i, added.at(i));
}

Result<void> IniFile::save() const
{
    QByteArray bytes;
    for (const Line& line : m_lines) {
        bytes += line.text.toUtf8();
        bytes += line.ending.toUtf8();
    }
    return AtomicFile::write(m_filePath, bytes, QStringLiteral("配置文件"));
}
