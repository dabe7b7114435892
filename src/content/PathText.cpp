#include "content/PathText.h"

namespace {

qsizetype lastSeparator(const QString& path)
{
    return qMax(path.lastIndexOf(u'\\'), path.lastIndexOf(u'/'));
}

} // namespace

QString PathText::fileName(const QString& path)
{
    return path.mid(lastSeparator(path) + 1);
}

QString PathText::title(const QString& path, bool withExtension)
{
    const QString name = fileName(path);
    const qsizetype dot = name.lastIndexOf(u'.');
    if (withExtension || dot < 0)
        return name;
    return name.left(dot);
}

QString PathText::extension(const QString& path)
{
    const QString name = fileName(path);
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot < 0 ? QString() : name.mid(dot + 1);
}

QString PathText::containingFolder(const QString& path)
{
    const QString trimmed = path.trimmed();
    const qsizetype at = lastSeparator(trimmed);
    return at < 0 ? QString() : trimmed.left(at + 1);
}
