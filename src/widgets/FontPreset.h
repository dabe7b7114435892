#pragma once

#include <QString>
#include <QtGlobal>
#include <array>

// MainFontSize: the three text sizes of the panel.
enum class FontSize { Small, Middle, Big };

struct FontPreset {
    FontSize size = FontSize::Small;
    // The icon size in pixels, then the widths (twips) of the lists' icon and id columns.
    std::array<int, 3> metrics{};
    qreal pointSize = 9;
    int rowHeight = 22; // pixels of one row in the trees and lists

    // "small", "middle" or "big", letter case ignored; any other text is "small".
    static FontPreset fromSetting(const QString& value);
    static FontPreset of(FontSize size);
    // The text written to MainFontSize for this size.
    QString settingValue() const;
};
