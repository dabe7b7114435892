#include "hotkeys/HotKeySaveCheck.h"

#include "hotkeys/HotKeyCapture.h"

#include <QStringList>

bool HotKeySaveCheck::isIncomplete(const HotKeySlot& slot)
{
    return slot.text.trimmed().endsWith(QLatin1Char('+'));
}

bool HotKeySaveCheck::isUnset(const HotKeySlot& slot)
{
    const QString text = slot.text.trimmed();
    return text.isEmpty() || text == HotKeyCapture::noneText();
}

HotKeySaveCheck::Verdict HotKeySaveCheck::check(const QList<HotKeySlot>& boxes)
{
    Verdict verdict;
    for (const HotKeySlot& slot : boxes) {
        if (isIncomplete(slot)) {
            verdict.refusal = slot.name + QStringLiteral("热键输入不全！");
            return verdict;
        }
    }

    QStringList unset;
    for (const HotKeySlot& slot : boxes) {
        if (isUnset(slot))
            unset << slot.name;
    }
    if (unset.size() == boxes.size()) {
        verdict.refusal = QStringLiteral("程序热键未设置！");
        return verdict;
    }

    // What the system would register decides whether two keys are the same, not their names.
    for (qsizetype i = 0; i < boxes.size(); ++i) {
        if (isUnset(boxes.at(i)))
            continue;
        for (qsizetype j = 0; j < i; ++j) {
            if (isUnset(boxes.at(j)))
                continue;
            if (boxes.at(i).keyCode == boxes.at(j).keyCode &&
                boxes.at(i).modifierMask == boxes.at(j).modifierMask) {
                verdict.refusal = boxes.at(i).name + QStringLiteral("不能重复设置热键！");
                return verdict;
            }
        }
    }

    if (!unset.isEmpty())
        verdict.warning = unset.join(QStringLiteral("、")) + QStringLiteral("热键未设置！");
    return verdict;
}
