#pragma once

#include <QString>

class SettingsForm;

// The checks of confirming the settings window, in their fixed order; the first that fails is
// told and nothing is written.
class SettingsCheck {
public:
    // The box that gets the focus, its text selected, after a refusal.
    enum class Field { None, DatabasePath, BackupPath, BackupPathPer, CustomWindows };

    struct Verdict {
        QString refusal; // empty: the settings may be written
        Field field = Field::None;
        bool accepted() const { return refusal.isEmpty(); }
    };

    static constexpr int MaxPathLength = 300;
    // config.ini values are read back cut at this length; the rules must survive whole.
    static constexpr int MaxRulesLength = 254;

    // `programFolder` is what an empty path means and where a relative path starts.
    static Verdict check(const SettingsForm& form, const QString& programFolder);

    // The custom chat-window rules: "class" or "class|title pattern", joined by ";". Empty when
    // every rule is usable; otherwise the message naming the first bad one.
    static QString checkRules(const QString& rules);
};
