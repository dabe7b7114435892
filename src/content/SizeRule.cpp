#include "content/SizeRule.h"

#include <cmath>

using namespace Qt::StringLiterals;

qint64 SizeRule::megabytes(qint64 bytes)
{
    const double mb = static_cast<double>(bytes) / 1024.0 / 1024.0;
    const double whole = std::floor(mb);
    const double fraction = mb - whole;
    auto rounded = static_cast<qint64>(whole);
    if (fraction > 0.5 || (fraction == 0.5 && rounded % 2 != 0))
        ++rounded;
    return rounded;
}

std::optional<QString> SizeRule::refusePicture(qint64 bytes, int limitMb)
{
    if (megabytes(bytes) > limitMb)
        return u"图片不能大于"_s + QString::number(limitMb) + u"M！"_s;
    return std::nullopt;
}

std::optional<QString> SizeRule::refuseFile(qint64 bytes, int limitMb)
{
    if (bytes == 0)
        return u"文件内容不能为空！"_s;
    if (megabytes(bytes) > limitMb)
        return u"文件不能大于"_s + QString::number(limitMb) + u"M！"_s;
    return std::nullopt;
}
