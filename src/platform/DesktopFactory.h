#pragma once

#include "platform/Desktop.h"

#include <memory>

// The Desktop of the system the program runs on. Where the window system gives no access to
// other programs' windows, a desktop whose isAvailable() is false and that says why.
std::unique_ptr<Desktop> createDesktop(QObject* parent = nullptr);
