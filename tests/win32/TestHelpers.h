#pragma once

#include <windows.h>

// The other programs of the test, each a copy of the test program started with a role: a chat
// window with an EDIT control, a program holding a hot key, and clipboard readers.
namespace TestHelpers {

inline constexpr wchar_t ChatClass[] = L"QuillmateTestChat聊天";
inline constexpr wchar_t ChatTitle[] = L"粘贴目标 – 客户 ✓";
inline constexpr wchar_t ClipboardText[] = L"你好，客户 hello";

// The roles: "chat"; "holder VK MASK"; "read window|nowindow|ole" (exit code 0 when it read
// ClipboardText).
int run(HANDLE ready, HANDLE quit, int count, wchar_t** arguments);

} // namespace TestHelpers
