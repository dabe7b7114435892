#pragma once

#include "widgets/FontPreset.h"

#include <QIcon>
#include <QString>

class QApplication;

// The pictures of the tree nodes, and the program's own mark.
enum class SkinIcon {
    SectionRoot,
    BigCategory,
    SmallCategory,
    Knowledge,
    KnowledgeWithPicture,
    Common,
    Affair,
    AffairWithWeb,
    Courier,
    CourierWithWeb,
    AppMark, // tray and windows: 客 on a rounded square
};
inline constexpr int SkinIconCount = static_cast<int>(SkinIcon::AppMark) + 1;

// The program's look: one light, calm style sheet for every window and icons drawn in code.
class Skin {
public:
    // The style sheet with the preset's row height.
    static QString styleSheet(const FontPreset& preset);
    // Sets the style sheet, the preset's font size and the windows' icon on the application.
    static void apply(QApplication& app, const FontPreset& preset);

    static QIcon icon(SkinIcon which);
    static QIcon appIcon() { return icon(SkinIcon::AppMark); }
};
