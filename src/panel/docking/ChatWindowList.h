#pragma once

#include <QList>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

class Settings;

// Which windows are chat windows the panel docks beside. The built-in clients are kept as one
// text of records "class|title part" joined by "@", built from the XiFu* switches; the user's
// own rules from XiFuCustomWindows are consulted after them.
class ChatWindowList {
public:
    struct Match {
        bool chat = false;
        QString kind; // "qq", "weixin", ..., "custom"; "empty" when not a chat window
        // "1,qq" or "0,empty", the form the rest of the program has always passed around.
        QString text() const;
    };

    static QString emptyKind();  // "empty"
    static QString customKind(); // "custom"

    // Goes through the seven client switches in their fixed order and reads the custom rules
    // anew. The record text is never cleared first: only the QQ switch assigns it, so with QQ
    // off the records of an earlier build stay and the others are appended after them.
    void rebuild(const Settings& settings);

    // Replaces the custom rules: "class" or "class|title pattern", separated by ";".
    void setCustomRules(const QString& rules);
    // The rules of the last setCustomRules()/rebuild() that were dropped for a bad pattern.
    QStringList invalidRules() const { return m_invalidRules; }

    QString records() const { return m_records; }

    // Both arguments trimmed by the caller.
    Match recognize(const QString& className, const QString& title) const;
    QString recognizeText(const QString& className, const QString& title) const
    {
        return recognize(className, title).text();
    }

private:
    struct CustomRule {
        QString className;
        QRegularExpression title; // found anywhere in the title; the empty pattern: any title
    };

    Match recognizeBuiltIn(const QString& className, const QString& title) const;
    Match recognizeCustom(const QString& className, const QString& title) const;

    QString m_records;
    QList<CustomRule> m_customRules;
    QStringList m_invalidRules;
};
