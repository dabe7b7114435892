#pragma once

#include <QStringList>

// What `tools.type` records: how the panel opens a tool's path, by its number in this list.
namespace ToolKind {

inline QStringList names()
{
    return {QStringLiteral("程序"), QStringLiteral("文件"), QStringLiteral("网址")};
}

} // namespace ToolKind
