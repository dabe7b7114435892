#pragma once

#include <functional>
#include <string>
#include <vector>
#include <windows.h>

// The few things the core's test needs around it: checks that count, a message loop that runs
// while waiting (our clipboard and hot keys are served through it), and the other programs of the
// test, each a copy of the test program started with a role.
namespace TestKit {

inline constexpr wchar_t ChatClass[] = L"QuillmateTestChat聊天";
inline constexpr wchar_t ChatTitle[] = L"粘贴目标 – 客户 ✓";
inline constexpr wchar_t ClipboardText[] = L"你好，客户 hello";

// Records a failed check of the current test, with the line it is on.
bool check(bool condition, const char* what, int line);
// Ends the current test as skipped: what wine cannot do, said once with the reason.
void skip(const std::string& reason);

// Runs this thread's messages until `done` or the time is up; true when done.
// Generous: wine under a loaded machine can take seconds to deliver a change.
bool pumpUntil(const std::function<bool()>& done, DWORD timeoutMs = 15000);
void pumpFor(DWORD ms);

bool runningUnderWine();

// A copy of this program started in a role: "chat", a chat window with an EDIT control;
// "holder VK MASK", a program holding a hot key; "read window|nowindow|ole", a clipboard reader
// that ends by itself, with exit code 0 when it read ClipboardText. It signals `ready` once set
// up, and ends when `quit` is signalled.
class Helper {
public:
    explicit Helper(const std::wstring& arguments);
    ~Helper();
    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;

    bool waitReady(DWORD timeoutMs = 10000);
    // Ends it and returns its exit code (or -1 when it had to be killed).
    int finish(DWORD timeoutMs = 10000);
    DWORD processId() const { return m_process.dwProcessId; }

private:
    PROCESS_INFORMATION m_process{};
    HANDLE m_ready = nullptr;
    HANDLE m_quit = nullptr;
};

// What a helper does in its role; its exit code.
int runHelper(HANDLE ready, HANDLE quit, int count, wchar_t** arguments);

// A key message one of our windows got, with whether Ctrl was down for it.
struct KeyMessage {
    UINT message = 0;
    WPARAM virtualKey = 0;
    LPARAM lParam = 0;
    bool control = false;
};
std::vector<KeyMessage>& keyLog();

// A top-level window of this process with a class of its own; it records the keys it gets.
HWND createWindow(const wchar_t* className, const wchar_t* title, int x = 100, int y = 100,
                  int width = 400, int height = 300);

} // namespace TestKit

#define CHECK(condition) TestKit::check((condition), #condition, __LINE__)
