#pragma once

#include <QString>
#include <QStringList>

// Where this system keeps a user's data and where an installed program finds its shipped files.
namespace PlatformPaths {

// %APPDATA%\Quillmate on Windows, $XDG_DATA_HOME/quillmate (~/.local/share/quillmate) elsewhere.
QString userDataFolder();

// Whether the program folder itself should hold the data: a file named "portable" beside the
// executable says so everywhere; on Windows a writable program folder does too.
bool runsPortable(const QString& executableFolder);

// Folders holding read-only shipped files: beside the executable, then the install prefix's
// share folder.
QStringList shippedDataFolders(const QString& executableFolder);

} // namespace PlatformPaths
