#pragma once

#include <string>
#include <utility>

// What a request to Windows came to, in the core's own terms (no Qt here): done, refused because
// another program holds the hot key, or failed with a reason the agent can act on.
struct Win32Result {
    enum class Kind { Done, Taken, Failed };

    static Win32Result done() { return {}; }
    static Win32Result taken() { return {Kind::Taken, {}}; }
    static Win32Result failed(std::wstring reason) { return {Kind::Failed, std::move(reason)}; }

    bool ok() const { return kind == Kind::Done; }

    Kind kind = Kind::Done;
    std::wstring reason;
};
