#include "content/DeletePolicy.h"

DeletePolicy::Plan DeletePolicy::plan(const KindDescriptor& kind, const QString& typeDelMode,
                                      int childCount, bool fromMenu)
{
    const DeleteTexts& texts =
        fromMenu && kind.deletingFromMenu ? *kind.deletingFromMenu : kind.deleting;
    if (!kind.isCategory() || childCount <= 0)
        return {false, texts.ask};
    if (typeDelMode == QLatin1String("0"))
        return {true, texts.refuse};
    return {false, texts.askCascade};
}
