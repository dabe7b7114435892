#include "widgets/ConfirmWindow.h"
#include "widgets/Skin.h"

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTest>
#include <QTreeWidget>
#include <QVBoxLayout>

Q_DECLARE_METATYPE(FontSize)

namespace {

QImage imageOf(SkinIcon which, int size)
{
    return Skin::icon(which).pixmap(size, size).toImage().convertToFormat(QImage::Format_ARGB32);
}

int opaquePixels(const QImage& image)
{
    int n = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            n += qAlpha(image.pixel(x, y)) > 128 ? 1 : 0;
    }
    return n;
}

} // namespace

class TestSkin : public QObject {
    Q_OBJECT
private slots:
    void iconsAreDrawnAndDistinct();
    void appMarkFillsItsSquare();
    void styleSheetAppliesCleanly_data();
    void styleSheetAppliesCleanly();
    void titleBarCarriesTheAccent();
};

void TestSkin::iconsAreDrawnAndDistinct()
{
    QList<QImage> images;
    for (int i = 0; i < SkinIconCount; ++i) {
        const auto which = static_cast<SkinIcon>(i);
        QVERIFY2(!Skin::icon(which).isNull(), qPrintable(QString::number(i)));
        const QImage small = imageOf(which, 16);
        QCOMPARE(small.size(), QSize(16, 16));
        // Something visible, and not a filled square (except the mark, which is one).
        const int opaque = opaquePixels(small);
        QVERIFY2(opaque > 30, qPrintable(QString::number(i)));
        QCOMPARE(imageOf(which, 32).size(), QSize(32, 32));
        for (int j = 0; j < images.size(); ++j)
            QVERIFY2(images[j] != small,
                     qPrintable(QStringLiteral("icons %1 and %2 look alike").arg(j).arg(i)));
        images << small;
    }
}

void TestSkin::appMarkFillsItsSquare()
{
    const QImage mark = imageOf(SkinIcon::AppMark, 64);
    QCOMPARE(mark.size(), QSize(64, 64));
    // Corners are rounded off, the edges' middles are coloured, and the character is light.
    QVERIFY(qAlpha(mark.pixel(0, 0)) < 128);
    QCOMPARE(qAlpha(mark.pixel(32, 2)), 255);
    QCOMPARE(qAlpha(mark.pixel(2, 32)), 255);
    int light = 0;
    for (int y = 8; y < 56; ++y) {
        for (int x = 8; x < 56; ++x)
            light += qGray(mark.pixel(x, y)) > 200 ? 1 : 0;
    }
    QVERIFY2(light > 40, "the character is missing");
}

void TestSkin::styleSheetAppliesCleanly_data()
{
    QTest::addColumn<FontSize>("size");
    QTest::newRow("small") << FontSize::Small;
    QTest::newRow("middle") << FontSize::Middle;
    QTest::newRow("big") << FontSize::Big;
}

void TestSkin::styleSheetAppliesCleanly()
{
    QFETCH(FontSize, size);
    const FontPreset preset = FontPreset::of(size);
    QTest::failOnWarning(QRegularExpression(QStringLiteral("style ?sheet"),
                                            QRegularExpression::CaseInsensitiveOption));

    Skin::apply(*qApp, preset);
    QCOMPARE(QApplication::font().pointSizeF(), preset.pointSize);
    QVERIFY(!QApplication::windowIcon().isNull());

    QWidget panel;
    auto* layout = new QVBoxLayout(&panel);
    auto* tree = new QTreeWidget(&panel);
    for (const char* name : {"常用知识", "产品知识", "公司事务"}) {
        auto* item = new QTreeWidgetItem(tree, {QString::fromUtf8(name)});
        item->setIcon(0, Skin::icon(SkinIcon::SectionRoot));
    }
    auto* tabs = new QTabWidget(&panel);
    tabs->addTab(new QLineEdit(tabs), QStringLiteral("查询"));
    tabs->addTab(new QComboBox(tabs), QStringLiteral("短语"));
    layout->addWidget(tree);
    layout->addWidget(tabs);
    layout->addWidget(new QPushButton(QStringLiteral("确定"), &panel));
    panel.show();
    QVERIFY(QTest::qWaitForWindowExposed(&panel));

    for (int i = 0; i < tree->topLevelItemCount(); ++i)
        QCOMPARE(tree->visualItemRect(tree->topLevelItem(i)).height(), preset.rowHeight);

    qApp->setStyleSheet(QString());
}

void TestSkin::titleBarCarriesTheAccent()
{
    Skin::apply(*qApp, FontPreset::of(FontSize::Small));
    ConfirmWindow window(nullptr);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QWidget* bar = window.findChild<QWidget*>(QStringLiteral("titleBar"));
    QVERIFY(bar);
    // The whole window is grabbed: grabbing the bar alone would fill in its background anyway.
    const QImage shot = window.grab().toImage();
    const QPoint inBar = bar->mapTo(&window, QPoint(2, bar->height() / 2));
    const QColor barColour = shot.pixelColor(inBar);
    const QColor body = shot.pixelColor(window.width() / 2, window.height() - 4);
    QVERIFY2(barColour != body, "the title bar is not set apart from the window");
    QVERIFY2(barColour.hslSaturation() > 80, qPrintable(barColour.name()));
    qApp->setStyleSheet(QString());
}

QTEST_MAIN(TestSkin)
#include "tst_skin.moc"
