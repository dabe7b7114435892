#include "widgets/FontPreset.h"

#include <QTest>

// The reading of the setting's text, and what every preset holds; the settings window's test sees
// the panel's lists take a new preset at once.
class TestFontPreset : public QObject {
    Q_OBJECT
private slots:
    void settingTextIsReadLeniently();
    void presetsGrowAndRowsHoldTheirText();
};

void TestFontPreset::settingTextIsReadLeniently()
{
    const QList<std::pair<QString, FontSize>> cases = {
        {"Middle", FontSize::Middle}, {" big ", FontSize::Big},   {"BIG", FontSize::Big},
        {"", FontSize::Small},        {"large", FontSize::Small}, {"2", FontSize::Small}};
    for (const auto& [text, size] : cases)
        QVERIFY2(FontPreset::fromSetting(text).size == size, qPrintable(text));
    // What is written reads back as the same size.
    for (FontSize size : {FontSize::Small, FontSize::Middle, FontSize::Big})
        QCOMPARE(FontPreset::fromSetting(FontPreset::of(size).settingValue()).size, size);
}

void TestFontPreset::presetsGrowAndRowsHoldTheirText()
{
    const FontPreset small = FontPreset::of(FontSize::Small);
    const FontPreset middle = FontPreset::of(FontSize::Middle);
    const FontPreset big = FontPreset::of(FontSize::Big);
    QVERIFY(small.pointSize < middle.pointSize && middle.pointSize < big.pointSize);
    QVERIFY(small.rowHeight < middle.rowHeight && middle.rowHeight < big.rowHeight);
    // The icons of the trees and lists, in pixels.
    QCOMPARE((QList<int>{small.metrics[0], middle.metrics[0], big.metrics[0]}),
             (QList<int>{16, 20, 24}));
    for (int i = 1; i < 3; ++i)
        QVERIFY(small.metrics[i] < middle.metrics[i] && middle.metrics[i] < big.metrics[i]);
    // A row must hold a line of its own text: about 1.6 pixels per point at 96 dpi.
    for (const FontPreset& p : {small, middle, big})
        QVERIFY2(p.rowHeight >= p.pointSize * 96 / 72 * 1.5, qPrintable(p.settingValue()));
}

QTEST_GUILESS_MAIN(TestFontPreset)
#include "tst_fontpreset.moc"
