#pragma once

#include "data/Result.h"

#include <QString>

// Gives a finished file (a backup, an export, written under a temporary name beside the target)
// the target's name in one step, replacing a file of that name: readers see the old file or the
// new one, never a part, and after a power cut too, as the bytes are synced before the rename. A
// failure is numbered with the system's error code and reads "无法写入文件 <target>：<reason>".
Result<void> replaceFile(const QString& from, const QString& to);
