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

class TestSkin : public QObject {
    Q_OBJECT
private slots:
    void iconsAreDrawnAndDistinct();
    void styleSheetAppliesCleanly_data();
    void styleSheetAppliesCleanly();
    void titleBarCarriesTheAccent();
};

void TestSkin::iconsAreDrawnAndDistinct()
{
    // Each icon is drawn at the sizes asked for, shows something and looks like no other.
    QImage blank(16, 16, QImage::Format_ARGB32);
    blank.fill(Qt::transparent);
    QList<QImage> images{blank};
    for (int i = 0; i < SkinIconCount; ++i) {
        const QIcon icon = Skin::icon(static_cast<SkinIcon>(i));
        QCOMPARE(icon.pixmap(32, 32).size(), QSize(32, 32));
        const QImage small = icon.pixmap(16, 16).toImage().convertToFormat(QImage::Format_ARGB32);
        QVERIFY2(!images.contains(small), qPrintable(QStringLiteral("icon %1").arg(i)));
        images << small;
    }
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
