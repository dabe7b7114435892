#include "content/DeletePolicy.h"

DeletePolicy::Plan DeletePolicy::plan(const KindDescriptor& kind, bool cascade, int childCount,
                                      bool fromMenu)
{
    const DeleteTexts& texts =
        fromMenu && kind.deletingFromMenu ? *kind.deletingFromMenu : kind.deleting;
    if (!kind.isCategory() || childCount <= 0)
        return {false, texts.ask};
    if (!cascade)
        return {true, texts.refuse};
    return {false, texts.askCascade};
}
