// hotkey_holder VIRTUAL_KEY MODIFIER_MASK
// Another X client for the hot key tests: registers the combination through an X11Desktop of its
// own, prints "registered" or "refused", and holds it until its standard input is closed.

#include "platform/x11/X11Desktop.h"

#include <QCoreApplication>
#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: hotkey_holder VIRTUAL_KEY MODIFIER_MASK\n");
        return 2;
    }
    X11Desktop desktop;
    if (!desktop.isAvailable()) {
        std::fprintf(stderr, "hotkey_holder: %s\n", qPrintable(desktop.unavailableReason()));
        return 1;
    }
    QObject::connect(&desktop, &Desktop::problem, [](const QString& message) {
        std::fprintf(stderr, "hotkey_holder: %s\n", qPrintable(message));
    });
    const bool registered = desktop
                                .registerHotKey(1, QByteArray(argv[1]).toInt(nullptr, 0),
                                                QByteArray(argv[2]).toInt(nullptr, 0))
                                .ok();
    std::printf("%s\n", registered ? "registered" : "refused");
    std::fflush(stdout);
    while (std::fgetc(stdin) != EOF) {
    }
    return 0;
}
