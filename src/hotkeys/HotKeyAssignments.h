#pragma once

#include "data/Result.h"

#include <QList>
#include <QString>
#include <array>

class Settings;
class Store;

// A knowledge entry as a hot key pastes it.
struct HotKeyEntry {
    qint64 id = 0;
    QString name;
    QString description;
};

// What the twelve hot keys paste. Each assignment keeps the text of K<n>SendContent, the chosen
// knowledge entries as ids joined with ",", and of K<n>CaptionDescFlag, "1" to paste each
// entry's title above its description. Indexes run from 0 (K1) to 11 (K12).
class HotKeyAssignments {
public:
    static constexpr int Count = 12;
    static constexpr int MaxEntries = 10;

    // Reads K1SendContent..K12SendContent and K1CaptionDescFlag..K12CaptionDescFlag.
    void load(const Settings& settings);

    QString content(int index) const;
    bool captionFlag(int index) const;
    void set(int index, const QString& content, bool captionFlag);

    static QList<qint64> parseIds(const QString& content);
    static QString joinIds(const QList<qint64>& ids);

    // The entries that still exist, as the store returns them: by id, whatever the order in
    // which they were chosen.
    static Result<QList<HotKeyEntry>> entries(Store& store, const QList<qint64>& ids);

    // Each entry's trimmed title (with `withTitle`) and description, every one followed by two
    // line breaks; without `endNewLine` the last two are cut.
    static QString compose(const QList<HotKeyEntry>& entries, bool withTitle, bool endNewLine);

    // The text a press of the hot key pastes: empty when it has nothing to paste. An index
    // outside 0..11 is an error.
    Result<QString> pressText(int index, Store& store, const Settings& settings) const;

private:
    static bool validIndex(int index) { return index >= 0 && index < Count; }

    std::array<QString, Count> m_contents;
    std::array<bool, Count> m_captionFlags{};
};
