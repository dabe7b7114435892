#include "widgets/FontPreset.h"

#include <QTest>

class TestFontPreset : public QObject {
    Q_OBJECT
private slots:
    void fromSetting_data();
    void fromSetting();
    void settingValueReadsBack();
    void presetsGrow();
};

void TestFontPreset::fromSetting_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<FontSize>("size");
    QTest::addColumn<QList<int>>("metrics");

    const QList<int> small{16, 290, 570};
    const QList<int> middle{20, 350, 630};
    const QList<int> big{24, 410, 680};
    QTest::newRow("small") << "small" << FontSize::Small << small;
    QTest::newRow("middle") << "middle" << FontSize::Middle << middle;
    QTest::newRow("big") << "big" << FontSize::Big << big;
    QTest::newRow("letter case") << "Middle" << FontSize::Middle << middle;
    QTest::newRow("blanks") << " big " << FontSize::Big << big;
    QTest::newRow("empty") << "" << FontSize::Small << small;
    QTest::newRow("unknown word") << "large" << FontSize::Small << small;
    QTest::newRow("number") << "2" << FontSize::Small << small;
}

void TestFontPreset::fromSetting()
{
    QFETCH(QString, value);
    QFETCH(FontSize, size);
    QFETCH(QList<int>, metrics);

    const FontPreset preset = FontPreset::fromSetting(value);
    QCOMPARE(preset.size, size);
    QCOMPARE((QList<int>{preset.metrics[0], preset.metrics[1], preset.metrics[2]}), metrics);
    QCOMPARE(preset.pointSize, FontPreset::of(size).pointSize);
    QCOMPARE(preset.rowHeight, FontPreset::of(size).rowHeight);
}

void TestFontPreset::settingValueReadsBack()
{
    for (FontSize size : {FontSize::Small, FontSize::Middle, FontSize::Big}) {
        const QString written = FontPreset::of(size).settingValue();
        QCOMPARE(FontPreset::fromSetting(written).size, size);
    }
    QCOMPARE(FontPreset::of(FontSize::Middle).settingValue(), QStringLiteral("middle"));
}

void TestFontPreset::presetsGrow()
{
    const FontPreset small = FontPreset::of(FontSize::Small);
    const FontPreset middle = FontPreset::of(FontSize::Middle);
    const FontPreset big = FontPreset::of(FontSize::Big);
    QVERIFY(small.pointSize < middle.pointSize && middle.pointSize < big.pointSize);
    QVERIFY(small.rowHeight < middle.rowHeight && middle.rowHeight < big.rowHeight);
    // A row must hold a line of its own text: about 1.6 pixels per point at 96 dpi.
    for (const FontPreset& p : {small, middle, big})
        QVERIFY2(p.rowHeight >= p.pointSize * 96 / 72 * 1.5, qPrintable(p.settingValue()));
}

QTEST_GUILESS_MAIN(TestFontPreset)
#include "tst_fontpreset.moc"
