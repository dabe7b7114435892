#pragma once

#include <QString>
#include <QtGlobal>
#include <optional>

// The size limits of pictures and stored files. A size counts in whole megabytes, rounded half
// to even, so a 5.4 MB picture passes a 5 MB limit and a 5.5 MB one does not.
class SizeRule {
public:
    static qint64 megabytes(qint64 bytes);

    // The refusal of a picture of that size, or nothing when it is taken.
    static std::optional<QString> refusePicture(qint64 bytes, int limitMb);
    // A stored file must have content and fit the limit.
    static std::optional<QString> refuseFile(qint64 bytes, int limitMb);
};
