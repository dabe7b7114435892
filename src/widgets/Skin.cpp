#include "widgets/Skin.h"

#include <QApplication>
#include <QColor>
#include <QFont>
#include <QHash>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <cmath>
#include <numbers>

namespace {

// The palette of the style sheet and of the icons.
namespace Colour {
const QColor accent(0x2f, 0x8f, 0x83);     // calm teal: title bars, selection, the mark
const QColor accentDark(0x24, 0x71, 0x68); // pressed
const QColor folder(0xe8, 0xa8, 0x3e);
const QColor folderLight(0xf4, 0xcd, 0x7e);
const QColor sheetLine(0x5b, 0x7d, 0xb1);
const QColor star(0xf2, 0xb6, 0x32);
const QColor briefcase(0x6b, 0x7a, 0x8f);
const QColor parcel(0xc5, 0x8b, 0x4e);
const QColor globe(0x2e, 0x86, 0xde);
const QColor leaf(0x4c, 0xaf, 0x50);
} // namespace Colour

QPen outline(const QColor& colour, qreal width = 1.0)
{
    return QPen(colour, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

void drawSheet(QPainter& p)
{
    QPainterPath sheet;
    sheet.moveTo(3.5, 1.5);
    sheet.lineTo(10, 1.5);
    sheet.lineTo(13.5, 5);
    sheet.lineTo(13.5, 14.5);
    sheet.lineTo(3.5, 14.5);
    sheet.closeSubpath();
    p.setPen(outline(Colour::sheetLine));
    p.setBrush(Qt::white);
    p.drawPath(sheet);
    p.drawPolyline(QPolygonF{{10, 1.5}, {10, 5}, {13.5, 5}});
}

void drawFolder(QPainter& p, const QColor& colour, bool open)
{
    p.setPen(outline(colour.darker(130)));
    p.setBrush(colour.darker(110));
    QPainterPath back;
    back.moveTo(1.5, 3.5);
    back.lineTo(6, 3.5);
    back.lineTo(7.5, 5);
    back.lineTo(14.5, 5);
    back.lineTo(14.5, 13.5);
    back.lineTo(1.5, 13.5);
    back.closeSubpath();
    p.drawPath(back);
    p.setBrush(colour);
    if (open)
        p.drawPolygon(QPolygonF{{3.5, 7.5}, {15.5, 7.5}, {13.5, 13.5}, {1.5, 13.5}});
    else
        p.drawRoundedRect(QRectF(1.5, 6.5, 13, 7), 1, 1);
}

void drawBriefcase(QPainter& p)
{
    p.setPen(outline(Colour::briefcase.darker(140)));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(QRectF(5.5, 2.5, 5, 3), 1, 1);
    p.setBrush(Colour::briefcase);
    p.drawRoundedRect(QRectF(1.5, 4.5, 13, 9), 1.5, 1.5);
    p.drawLine(QPointF(1.5, 8.5), QPointF(14.5, 8.5));
    p.setBrush(Colour::star);
    p.drawRect(QRectF(7, 7.5, 2, 2));
}

void drawParcel(QPainter& p)
{
    p.setPen(outline(Colour::parcel.darker(150)));
    p.setBrush(Colour::parcel);
    p.drawPolygon(QPolygonF{{1.5, 5}, {8, 2}, {14.5, 5}, {14.5, 12}, {8, 14.5}, {1.5, 12}});
    p.setBrush(Colour::parcel.lighter(120));
    p.drawPolygon(QPolygonF{{1.5, 5}, {8, 2}, {14.5, 5}, {8, 8}});
    p.drawLine(QPointF(8, 8), QPointF(8, 14.5));
    p.setPen(outline(Qt::white, 1.2));
    p.drawLine(QPointF(4.5, 3.6), QPointF(11, 6.6));
}

// A small globe in the lower right corner: the entry has a web address to open.
void drawWebBadge(QPainter& p)
{
    const QRectF globe(8.5, 8.5, 7, 7);
    p.setPen(outline(Qt::white, 1.4));
    p.setBrush(Colour::globe);
    p.drawEllipse(globe);
    p.setPen(outline(Qt::white, 0.8));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QRectF(10.6, 8.5, 2.8, 7));
    p.drawLine(QPointF(8.5, 12), QPointF(15.5, 12));
}

void drawStar(QPainter& p)
{
    QPolygonF star;
    for (int i = 0; i < 10; ++i) {
        const qreal radius = i % 2 == 0 ? 7.0 : 3.0;
        const qreal angle = -std::numbers::pi / 2 + i * std::numbers::pi / 5;
        star << QPointF(8 + radius * std::cos(angle), 8.5 + radius * std::sin(angle));
    }
    p.setPen(outline(Colour::star.darker(140)));
    p.setBrush(Colour::star);
    p.drawPolygon(star);
}

void drawSectionRoot(QPainter& p)
{
    p.setPen(Qt::NoPen);
    p.setBrush(Colour::accent);
    p.drawRoundedRect(QRectF(1, 1, 14, 14), 3, 3);
    p.setPen(outline(Qt::white, 1.6));
    for (qreal y : {5.0, 8.0, 11.0})
        p.drawLine(QPointF(4.5, y), QPointF(11.5, y));
}

void drawKnowledge(QPainter& p, bool picture)
{
    drawSheet(p);
    p.setPen(outline(Colour::sheetLine, 0.9));
    p.drawLine(QPointF(5.5, 5), QPointF(8.5, 5));
    if (!picture) {
        for (qreal y : {7.5, 10.0, 12.5})
            p.drawLine(QPointF(5.5, y), QPointF(11.5, y));
        return;
    }
    p.drawLine(QPointF(5.5, 7), QPointF(11.5, 7));
    p.setPen(Qt::NoPen);
    p.setBrush(Colour::star);
    p.drawEllipse(QRectF(9.6, 8.6, 2, 2));
    p.setBrush(Colour::leaf);
    p.drawPolygon(QPolygonF{{5, 13.5}, {7.5, 9.5}, {9.5, 12}, {10.5, 11}, {12.5, 13.5}});
}

void drawAppMark(QPainter& p, int size)
{
    p.setPen(Qt::NoPen);
    p.setBrush(Colour::accent);
    p.drawRoundedRect(QRectF(0.5, 0.5, 15, 15), 3.5, 3.5);
    // The character is drawn in device pixels so that hinting keeps it crisp.
    p.resetTransform();
    QFont font;
    font.setBold(true);
    font.setPixelSize(qMax(8, size * 11 / 16));
    p.setFont(font);
    p.setPen(Qt::white);
    p.drawText(QRect(0, 0, size, size), Qt::AlignCenter, QStringLiteral("客"));
}

QPixmap render(SkinIcon which, int size)
{
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    p.scale(size / 16.0, size / 16.0);
    switch (which) {
    case SkinIcon::SectionRoot:
        drawSectionRoot(p);
        break;
    case SkinIcon::BigCategory:
        drawFolder(p, Colour::folder, false);
        break;
    case SkinIcon::SmallCategory:
        drawFolder(p, Colour::folderLight, true);
        break;
    case SkinIcon::Knowledge:
        drawKnowledge(p, false);
        break;
    case SkinIcon::KnowledgeWithPicture:
        drawKnowledge(p, true);
        break;
    case SkinIcon::Common:
        drawStar(p);
        break;
    case SkinIcon::Affair:
        drawBriefcase(p);
        break;
    case SkinIcon::AffairWithWeb:
        drawBriefcase(p);
        drawWebBadge(p);
        break;
    case SkinIcon::Courier:
        drawParcel(p);
        break;
    case SkinIcon::CourierWithWeb:
        drawParcel(p);
        drawWebBadge(p);
        break;
    case SkinIcon::AppMark:
        drawAppMark(p, size);
        break;
    }
    return pixmap;
}

QHash<int, QIcon>& iconCache()
{
    static QHash<int, QIcon> cache;
    return cache;
}

// Pixmaps must go before the application object does.
void clearIconCache()
{
    iconCache().clear();
}

} // namespace

QString Skin::styleSheet(const FontPreset& preset)
{
    QString sheet = QStringLiteral(R"(
QWidget { color: #1f2933; }
QDialog, QMainWindow, QWidget#windowBody { background: #f6f8f9; }
QFrame#windowFrame { background: #f6f8f9; border: 1px solid #b9c6cc; }

QWidget#titleBar { background: @accent; }
QLabel#lblTitle { color: #ffffff; font-weight: bold; }
QToolButton#btnTitleClose {
    color: #ffffff; border: none; border-radius: 4px; padding: 2px 6px; background: transparent;
}
QToolButton#btnTitleClose:hover { background: #d9534f; }

QPushButton {
    background: #ffffff; border: 1px solid #c3ced3; border-radius: 6px;
    padding: 5px 14px; min-height: 18px;
}
QPushButton:hover { background: #eef6f5; border-color: @accent; }
QPushButton:pressed { background: #dcefec; }
QPushButton:default { background: @accent; border-color: @accent; color: #ffffff; }
QPushButton:default:hover { background: #35a194; }
QPushButton:default:pressed { background: @accentDark; }
QPushButton:disabled { color: #9aa5ab; background: #f0f2f3; border-color: #d9dfe2; }

QLineEdit, QComboBox, QSpinBox, QPlainTextEdit, QTextEdit {
    background: #ffffff; border: 1px solid #c3ced3; border-radius: 5px; padding: 3px 6px;
    selection-background-color: @accent; selection-color: #ffffff;
}
QLineEdit:focus, QComboBox:focus, QSpinBox:focus, QPlainTextEdit:focus, QTextEdit:focus {
    border-color: @accent;
}
QComboBox::drop-down { border: none; width: 18px; }

QTreeView, QTreeWidget, QListView, QListWidget, QTableView {
    background: #ffffff; border: 1px solid #d5dde1; border-radius: 6px;
    alternate-background-color: #f8fafb; outline: none;
}
QTreeView::item, QListView::item { height: @rowpx; }
QTreeView::item:hover, QListView::item:hover, QTableView::item:hover { background: #eef6f5; }
QTreeView::item:selected, QListView::item:selected, QTableView::item:selected {
    background: @accent; color: #ffffff;
}
QHeaderView::section {
    background: #eef2f4; border: none; border-bottom: 1px solid #d5dde1; padding: 4px 6px;
}

QTabWidget::pane { border: 1px solid #d5dde1; border-radius: 6px; top: -1px; background: #ffffff; }
QTabBar::tab {
    background: #e8eef0; border: 1px solid #d5dde1; border-bottom: none;
    border-top-left-radius: 6px; border-top-right-radius: 6px; padding: 5px 12px; margin-right: 2px;
}
QTabBar::tab:selected { background: #ffffff; color: @accentDark; font-weight: bold; }
QTabBar::tab:hover:!selected { background: #f2f7f6; }

QMenu { background: #ffffff; border: 1px solid #c3ced3; border-radius: 6px; padding: 4px; }
QMenu::item { padding: 5px 22px 5px 22px; border-radius: 4px; }
QMenu::item:selected { background: @accent; color: #ffffff; }
QMenu::separator { height: 1px; background: #e1e7ea; margin: 4px 8px; }

QToolTip { background: #fffdf4; color: #1f2933; border: 1px solid #d8cfa8; padding: 4px; }

QCheckBox::indicator, QRadioButton::indicator { width: 14px; height: 14px; }

QScrollBar:vertical { background: transparent; width: 10px; margin: 0; }
QScrollBar:horizontal { background: transparent; height: 10px; margin: 0; }
QScrollBar::handle { background: #c3ced3; border-radius: 4px; min-height: 24px; min-width: 24px; }
QScrollBar::handle:hover { background: #9fb1b8; }
QScrollBar::add-line, QScrollBar::sub-line { width: 0; height: 0; }
QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }
)");
    sheet.replace(QLatin1String("@accentDark"), Colour::accentDark.name());
    sheet.replace(QLatin1String("@accent"), Colour::accent.name());
    sheet.replace(QLatin1String("@rowpx"), QString::number(preset.rowHeight) + QLatin1String("px"));
    return sheet;
}

void Skin::apply(QApplication& app, const FontPreset& preset)
{
    QFont font = QApplication::font();
    font.setPointSizeF(preset.pointSize);
    QApplication::setFont(font);
    app.setStyleSheet(styleSheet(preset));
    QApplication::setWindowIcon(appIcon());
}

QIcon Skin::icon(SkinIcon which)
{
    QHash<int, QIcon>& cache = iconCache();
    const int key = static_cast<int>(which);
    if (const auto it = cache.constFind(key); it != cache.constEnd())
        return it.value();
    if (cache.isEmpty())
        qAddPostRoutine(clearIconCache);
    QIcon icon;
    const QList<int> sizes = which == SkinIcon::AppMark ? QList<int>{16, 24, 32, 48, 64, 128, 256}
                                                        : QList<int>{16, 20, 24, 32, 48};
    for (int size : sizes)
        icon.addPixmap(render(which, size));
    cache.insert(key, icon);
    return icon;
}
