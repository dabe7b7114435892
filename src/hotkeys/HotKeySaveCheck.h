#pragma once

#include <QList>
#include <QString>

// One capture box of the hot-key window as the save sees it.
struct HotKeySlot {
    QString name; // K1 .. K12
    QString text; // the combination as shown; "无" when none
    int keyCode = 0;
    int modifierMask = 0;
};

// The checks of saving the twelve hot keys, in their fixed order: an incomplete combination
// refuses, twelve unset keys refuse, a combination used twice refuses; keys left unset are only
// worth a warning, and the save goes on.
class HotKeySaveCheck {
public:
    struct Verdict {
        QString refusal; // empty: the save may go on
        QString warning; // shown before saving; empty: none
        bool accepted() const { return refusal.isEmpty(); }
    };

    static Verdict check(const QList<HotKeySlot>& boxes);

    // Modifiers without a main key, as a key-up that has not come yet leaves them.
    static bool isIncomplete(const HotKeySlot& slot);
    static bool isUnset(const HotKeySlot& slot);
};
