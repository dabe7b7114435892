#pragma once

#include "data/Result.h"

#include <QByteArray>
#include <QString>

// Writing a file completely or not at all. The bytes go to a temporary file in the target's
// folder; every write, the flush to disk and the rename over the target are checked. On any
// failure the temporary file is removed and the target stays exactly as it was (or absent), so a
// full disk or a pulled plug never leaves a short file under the real name.
namespace AtomicFile {

// Replaces the file at `path` (the file a symbolic link points to, for a link) with `bytes`.
// A failure reads "无法写入" + `what` + " " + the path + "：" + the system's reason, e.g.
// "无法写入配置文件 C:\程序\config.ini：磁盘已满".
Result<void> write(const QString& path, const QByteArray& bytes,
                   const QString& what = QStringLiteral("文件"));

} // namespace AtomicFile
