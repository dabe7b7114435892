// appicon OUTPUT_DIR SIZE...
//
// Writes the program's mark, drawn by the same code as the windows' and the tray's icon, as
// OUTPUT_DIR/<SIZE>x<SIZE>/apps/quillmate.png for the desktop's icon theme. Run it with
// QT_QPA_PLATFORM=offscreen: it needs no display.

#include "widgets/Skin.h"

#include <QDir>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QRawFont>
#include <QSaveFile>
#include <QTextStream>
#include <algorithm>

namespace {

// The mark is the character 客; without a font that holds it the file would show an empty box.
bool fontHoldsMark()
{
    const QStringList families = QFontDatabase::families(QFontDatabase::SimplifiedChinese);
    return std::any_of(families.cbegin(), families.cend(), [](const QString& family) {
        return QRawFont::fromFont(QFont(family)).supportsCharacter(U'客');
    });
}

bool writePng(const QImage& image, const QString& path)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && image.save(&file, "PNG") && file.commit();
}

} // namespace

int main(int argc, char* argv[])
{
    QGuiApplication app(argc, argv);
    QTextStream err(stderr);
    const QStringList arguments = QGuiApplication::arguments();
    if (arguments.size() < 3) {
        err << "usage: appicon OUTPUT_DIR SIZE...\n";
        return 2;
    }
    if (!fontHoldsMark()) {
        err << QStringLiteral("appicon: no installed font has the character 客 (install "
                              "fonts-wqy-microhei)\n");
        return 1;
    }

    const QIcon icon = Skin::appIcon();
    const QList<QSize> drawn = icon.availableSizes();
    const QDir output(arguments.at(1));
    for (qsizetype i = 2; i < arguments.size(); ++i) {
        bool ok = false;
        const int size = arguments.at(i).toInt(&ok);
        // A size the skin does not draw would be a scaled copy, blurred; refuse it instead.
        if (!ok || !drawn.contains(QSize(size, size))) {
            err << "appicon: the mark is not drawn at size " << arguments.at(i) << '\n';
            return 2;
        }
        const QString folder = QStringLiteral("%1x%1/apps").arg(size);
        const QImage image = icon.pixmap(QSize(size, size)).toImage();
        if (image.size() != QSize(size, size) || !output.mkpath(folder) ||
            !writePng(image, output.filePath(folder + QStringLiteral("/quillmate.png")))) {
            err << "appicon: cannot write " << output.filePath(folder) << '\n';
            return 1;
        }
    }
    return 0;
}
