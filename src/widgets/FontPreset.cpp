#include "widgets/FontPreset.h"

FontPreset FontPreset::of(FontSize size)
{
    switch (size) {
    case FontSize::Middle:
        return {FontSize::Middle, {20, 350, 630}, 10.5, 26};
    case FontSize::Big:
        return {FontSize::Big, {24, 410, 680}, 12, 30};
    case FontSize::Small:
        break;
    }
    return {FontSize::Small, {16, 290, 570}, 9, 22};
}

FontPreset FontPreset::fromSetting(const QString& value)
{
    const QString v = value.trimmed();
    if (v.compare(QLatin1String("middle"), Qt::CaseInsensitive) == 0)
        return of(FontSize::Middle);
    if (v.compare(QLatin1String("big"), Qt::CaseInsensitive) == 0)
        return of(FontSize::Big);
    return of(FontSize::Small);
}

QString FontPreset::settingValue() const
{
    switch (size) {
    case FontSize::Middle:
        return QStringLiteral("middle");
    case FontSize::Big:
        return QStringLiteral("big");
    case FontSize::Small:
        break;
    }
    return QStringLiteral("small");
}
