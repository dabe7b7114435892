#pragma once

#include <string>
#include <windows.h>

// A top-level window of any program, as Windows describes it. Coordinates are physical pixels:
// the program is aware of each monitor's DPI, as Qt makes it.
struct Win32WindowFacts {
    HWND handle = nullptr; // null: no such window
    std::wstring className;
    std::wstring title;
    RECT frame{}; // the visible frame, without the invisible resize borders and shadow
    bool visible = false;
    bool minimized = false;
    DWORD processId = 0;
    bool isValid() const { return handle != nullptr; }
};

// Reading windows and bringing one to the front.
namespace Win32Windows {

Win32WindowFacts read(HWND window);
HWND foreground();
std::wstring title(HWND window);
// The frame the agent sees: DWM's extended frame bounds, or the window rectangle where DWM does
// not answer.
RECT visibleFrame(HWND window);
DWORD processOf(HWND window);

struct Activation {
    enum class Outcome { InFront, Requested, Refused, Gone };
    Outcome outcome = Outcome::Refused;
    std::wstring reason; // for Refused and Gone
    bool ok() const { return outcome == Outcome::InFront || outcome == Outcome::Requested; }
};

// Brings the window to the front (restoring it when minimised). Windows lets only the program
// the agent last used change the foreground; when it refuses, a synthesised Alt press, which the
// system takes as the agent's own action, lifts that lock, and the request is repeated for a
// bounded time.
Activation activate(HWND window);

} // namespace Win32Windows
