// The Win32 core against a real Windows API: under wine on Linux, natively on Windows. Each test
// prints PASS, FAIL or SKIP with its reason; the last line counts them.
#include "TestKit.h"
#include "TextDataObject.h"
#include "keys/KeyCodes.h"
#include "platform/win32/Win32ClipboardRequests.h"
#include "platform/win32/Win32HotKeys.h"
#include "platform/win32/Win32Keyboard.h"
#include "platform/win32/Win32Keys.h"
#include "platform/win32/Win32WindowWatch.h"
#include "platform/win32/Win32Windows.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <dwmapi.h>
#include <optional>
#include <shellapi.h>
#include <string>
#include <utility>
#include <vector>

namespace {

int g_failures = 0;
std::string g_skipped;

using Client = Win32ClipboardRequests::Client;
using KeyPress = Win32Keyboard::KeyPress;
using Source = Win32WindowWatch::Source;

bool sameRect(const RECT& a, const RECT& b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

// The top-level window of another process.
HWND windowOf(DWORD processId)
{
    struct Search {
        DWORD process;
        HWND found;
    } search{processId, nullptr};
    EnumWindows(
        [](HWND window, LPARAM parameter) -> BOOL {
            auto* s = reinterpret_cast<Search*>(parameter);
            if (Win32Windows::processOf(window) != s->process || !IsWindowVisible(window))
                return TRUE;
            s->found = window;
            return FALSE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found;
}

bool bringToFront(HWND window)
{
    return Win32Windows::activate(window).ok() &&
           TestKit::pumpUntil([window] { return GetForegroundWindow() == window; });
}

std::wstring editText(HWND chat)
{
    wchar_t text[256] = {};
    DWORD_PTR copied = 0;
    SendMessageTimeoutW(FindWindowExW(chat, nullptr, L"EDIT", nullptr), WM_GETTEXT, 256,
                        reinterpret_cast<LPARAM>(text), SMTO_ABORTIFHUNG, 2000, &copied);
    return text;
}

// What the clipboard watch and the data object saw, in order: each rendering with the request
// reported just before it (none when no request came first).
struct ClipboardLog {
    std::optional<Client> pending;
    std::vector<std::optional<Client>> renderings;
    std::vector<Client> requests;
};

// Our text on the OLE clipboard, as Qt puts it there, for the test's lifetime.
class OurClipboard {
public:
    explicit OurClipboard(ClipboardLog& log)
        : m_log(log), m_requests([&log](Client client) {
              log.requests.push_back(client);
              log.pending = client;
          })
    {
        renew();
    }
    ~OurClipboard() { OleSetClipboard(nullptr); }
    // A new data object: the text is rendered again for the next reader.
    bool renew()
    {
        if (m_set)
            OleSetClipboard(nullptr);
        auto* data = new TextDataObject(TestKit::ClipboardText);
        data->onRender = [this] { m_log.renderings.push_back(std::exchange(m_log.pending, {})); };
        m_set = SUCCEEDED(OleSetClipboard(data));
        data->Release();
        return m_set;
    }
    bool isSet() const { return m_set; }
    const Win32ClipboardRequests& requests() const { return m_requests; }

private:
    ClipboardLog& m_log;
    Win32ClipboardRequests m_requests;
    bool m_set = false;
};

void keyNamesAndModifiers()
{
    CHECK(Win32Keys::keyName(VK_F5) == L"F5");
    CHECK(Win32Keys::keyName('A') == L"A");
    CHECK(Win32Keys::combinationName(VK_F9, ModifierMask::Control | ModifierMask::Alt) ==
          L"Ctrl+Alt+F9");
    CHECK(Win32Keys::combinationName(0xFF, ModifierMask::Shift) == L"Shift+0xFF");
    CHECK(Win32Keys::hotKeyModifiers(ModifierMask::Alt) == (MOD_ALT | MOD_NOREPEAT));
    CHECK(Win32Keys::hotKeyModifiers(ModifierMask::Control) == (MOD_CONTROL | MOD_NOREPEAT));
    CHECK(Win32Keys::hotKeyModifiers(ModifierMask::Shift) == (MOD_SHIFT | MOD_NOREPEAT));
    CHECK(Win32Keys::hotKeyModifiers(ModifierMask::Meta | ModifierMask::Control) ==
          (MOD_WIN | MOD_CONTROL | MOD_NOREPEAT));
}

void keysReachTheWindowInFrontInOrder()
{
    const HWND window = TestKit::createWindow(L"QuillmateKeys", L"keys");
    CHECK(bringToFront(window));
    TestKit::keyLog().clear();
    // Ctrl+Enter as chat clients receive it: Ctrl is let go before Enter.
    const Win32Result sent = Win32Keyboard::send({{VK_CONTROL, true},
                                                  {VK_RETURN, true},
                                                  {VK_CONTROL, false},
                                                  {VK_RETURN, false},
                                                  {'A', true},
                                                  {'A', false},
                                                  {VK_RIGHT, true},
                                                  {VK_RIGHT, false}});
    CHECK(sent.ok());
    const auto& log = TestKit::keyLog();
    CHECK(TestKit::pumpUntil([&log] { return log.size() >= 8; }));
    if (CHECK(log.size() == 8)) {
        CHECK(log[0].message == WM_KEYDOWN && log[0].virtualKey == VK_CONTROL);
        CHECK(log[1].message == WM_KEYDOWN && log[1].virtualKey == VK_RETURN && log[1].control);
        CHECK(log[2].message == WM_KEYUP && log[2].virtualKey == VK_CONTROL);
        CHECK(log[3].message == WM_KEYUP && log[3].virtualKey == VK_RETURN && !log[3].control);
        // The scan code of the key's place, and the extended flag for the arrow keys.
        CHECK(((log[4].lParam >> 16) & 0xFF) == MapVirtualKeyW('A', MAPVK_VK_TO_VSC));
        CHECK((log[4].lParam & (1 << 24)) == 0);
        CHECK(log[6].virtualKey == VK_RIGHT && (log[6].lParam & (1 << 24)) != 0);
    }
    DestroyWindow(window);
}

void aBadKeyIsRefusedBeforeAnyIsSent()
{
    const HWND window = TestKit::createWindow(L"QuillmateBadKey", L"bad key");
    CHECK(bringToFront(window));
    TestKit::keyLog().clear();
    const Win32Result sent = Win32Keyboard::send({{VK_CONTROL, true}, {0, true}});
    CHECK(!sent.ok() && !sent.reason.empty());
    TestKit::pumpFor(200);
    CHECK(TestKit::keyLog().empty());
    CHECK(Win32Keyboard::heldModifiers() == 0);
    DestroyWindow(window);
}

void heldModifiersAreSeen()
{
    const HWND window = TestKit::createWindow(L"QuillmateHeld", L"held");
    CHECK(bringToFront(window));
    CHECK(Win32Keyboard::heldModifiers() == 0);
    CHECK(Win32Keyboard::send({{VK_CONTROL, true}, {VK_SHIFT, true}}).ok());
    CHECK(TestKit::pumpUntil([] {
        return Win32Keyboard::heldModifiers() == (ModifierMask::Control | ModifierMask::Shift);
    }));
    CHECK(Win32Keyboard::send({{VK_SHIFT, false}}).ok());
    CHECK(
        TestKit::pumpUntil([] { return Win32Keyboard::heldModifiers() == ModifierMask::Control; }));
    CHECK(Win32Keyboard::send({{VK_CONTROL, false}}).ok());
    CHECK(TestKit::pumpUntil([] { return Win32Keyboard::heldModifiers() == 0; }));
    DestroyWindow(window);
}

void aHotKeyFiresOnASynthesisedPress()
{
    const HWND window = TestKit::createWindow(L"QuillmateHotKey", L"hot key");
    CHECK(bringToFront(window));
    std::vector<int> pressed;
    Win32HotKeys hotKeys([&pressed](int id) { pressed.push_back(id); });
    CHECK(hotKeys.isAvailable());
    CHECK(hotKeys.add(7, VK_F9, ModifierMask::Control | ModifierMask::Alt).ok());
    CHECK(Win32Keyboard::send({{VK_CONTROL, true}, {VK_MENU, true}, {VK_F9, true}}).ok());
    CHECK(TestKit::pumpUntil([&pressed] { return !pressed.empty(); }));
    CHECK(pressed == std::vector<int>{7});
    // Held until the key itself is let go, not only the modifiers.
    CHECK(hotKeys.held());
    CHECK(Win32Keyboard::heldModifiers() == (ModifierMask::Control | ModifierMask::Alt));
    CHECK(Win32Keyboard::send({{VK_MENU, false}, {VK_CONTROL, false}}).ok());
    TestKit::pumpFor(50);
    CHECK(hotKeys.held());
    CHECK(Win32Keyboard::send({{VK_F9, false}}).ok());
    CHECK(TestKit::pumpUntil([&hotKeys] { return !hotKeys.held(); }));
    // Removed, the combination fires nothing.
    hotKeys.remove(7);
    CHECK(Win32Keyboard::send({{VK_CONTROL, true},
                               {VK_MENU, true},
                               {VK_F9, true},
                               {VK_F9, false},
                               {VK_MENU, false},
                               {VK_CONTROL, false}})
              .ok());
    TestKit::pumpFor(200);
    CHECK(pressed.size() == 1);
    DestroyWindow(window);
}

void aCombinationHeldElsewhereIsTaken()
{
    TestKit::Helper holder(L"holder 0x79 " +
                           std::to_wstring(ModifierMask::Control | ModifierMask::Shift));
    if (!CHECK(holder.waitReady()))
        return;
    Win32HotKeys hotKeys([](int) {});
    const Win32Result held = hotKeys.add(1, VK_F10, ModifierMask::Control | ModifierMask::Shift);
    CHECK(held.kind == Win32Result::Kind::Taken);
    CHECK(hotKeys.add(1, VK_F10, ModifierMask::Control | ModifierMask::Alt).ok());
    // Two of our own ids on one combination: the second is refused the same way.
    CHECK(hotKeys.add(2, VK_F11, ModifierMask::Control).ok());
    CHECK(hotKeys.add(3, VK_F11, ModifierMask::Control).kind == Win32Result::Kind::Taken);
    CHECK(hotKeys.add(2, VK_F11, ModifierMask::Control).ok());
    hotKeys.remove(2);
    CHECK(hotKeys.add(3, VK_F11, ModifierMask::Control).ok());
    const Win32Result mouse = hotKeys.add(4, VK_LBUTTON, ModifierMask::Control);
    CHECK(mouse.kind == Win32Result::Kind::Failed && !mouse.reason.empty());
    CHECK(holder.finish() == 0);
    // Given up by the other program, the combination is ours to take.
    CHECK(hotKeys.add(1, VK_F10, ModifierMask::Control | ModifierMask::Shift).ok());
}

// Events that wine never sends are waited for briefly, so their skip costs little.
DWORD eventWaitMs(Source source)
{
    return source == Source::Events && TestKit::runningUnderWine() ? 3000 : 15000;
}

void foregroundChanges(Source source)
{
    std::vector<HWND> reported;
    Win32WindowWatch watch({[&reported](HWND window) { reported.push_back(window); }, {}, {}},
                           source);
    CHECK(watch.reportsEvents() == (source == Source::Events));
    const HWND ours = TestKit::createWindow(L"QuillmateFront", L"front");
    TestKit::Helper chat(L"chat");
    if (!CHECK(chat.waitReady()))
        return;
    const HWND theirs = windowOf(chat.processId());
    CHECK(theirs != nullptr);
    // A window shown by a new program takes the front, and the watch may already have reported
    // that: ours is brought back and seen, so the switch below is a change still to report.
    CHECK(bringToFront(ours));
    TestKit::pumpUntil([&] { return !reported.empty() && reported.back() == ours; },
                       eventWaitMs(source));
    reported.clear();
    CHECK(Win32Windows::activate(theirs).ok());
    const bool arrived = TestKit::pumpUntil(
        [&] { return !reported.empty() && reported.back() == theirs; }, eventWaitMs(source));
    if (!arrived && source == Source::Events && TestKit::runningUnderWine()) {
        DestroyWindow(ours);
        return TestKit::skip("wine sends no EVENT_SYSTEM_FOREGROUND when another window is "
                             "activated; the polling watch below proves the same report");
    }
    CHECK(arrived);
    CHECK(watch.foregroundWindow().handle == theirs);
    // Back to a minimised window of ours: restored and in front.
    ShowWindow(ours, SW_MINIMIZE);
    TestKit::pumpFor(100);
    CHECK(Win32Windows::activate(ours).ok());
    CHECK(TestKit::pumpUntil([&] { return !reported.empty() && reported.back() == ours; }));
    CHECK(TestKit::pumpUntil([&] { return !IsIconic(ours); }));
    DestroyWindow(ours);
    const Win32Windows::Activation gone = Win32Windows::activate(ours);
    CHECK(gone.outcome == Win32Windows::Activation::Outcome::Gone && !gone.reason.empty());
}

void aChineseTitleAndClassAreReadAsTheyAre()
{
    TestKit::Helper chat(L"chat");
    if (!CHECK(chat.waitReady()))
        return;
    const Win32WindowFacts facts = Win32Windows::read(windowOf(chat.processId()));
    CHECK(facts.isValid());
    CHECK(facts.className == TestKit::ChatClass);
    CHECK(facts.title == TestKit::ChatTitle);
    CHECK(facts.processId == chat.processId());
    CHECK(facts.visible && !facts.minimized);
}

void theFrameIsTheVisibleOne()
{
    const HWND window = TestKit::createWindow(L"QuillmateFrame", L"frame", 100, 120, 400, 300);
    const Win32WindowFacts facts = Win32Windows::read(window);
    RECT outer{};
    GetWindowRect(window, &outer);
    RECT bounds{};
    if (SUCCEEDED(
            DwmGetWindowAttribute(window, DWMWA_EXTENDED_FRAME_BOUNDS, &bounds, sizeof bounds)))
        CHECK(sameRect(facts.frame, bounds));
    else
        CHECK(sameRect(facts.frame, outer));
    // Inside the window's rectangle, which also holds the invisible borders.
    CHECK(facts.frame.left >= outer.left && facts.frame.right <= outer.right &&
          facts.frame.top == outer.top && facts.frame.bottom <= outer.bottom);
    CHECK(facts.frame.right > facts.frame.left && facts.frame.bottom > facts.frame.top);
    DestroyWindow(window);
}

void windowChanges(Source source)
{
    std::vector<std::pair<HWND, std::optional<RECT>>> moves;
    std::vector<std::wstring> titles;
    Win32WindowWatch watch({{},
                            [&moves](HWND w, std::optional<RECT> f) {
                                moves.push_back({w, f});
                            },
                            [&titles](HWND, const std::wstring& t) { titles.push_back(t); }},
                           source);
    const HWND window = TestKit::createWindow(L"QuillmateMoves", L"moves", 100, 120, 400, 300);
    CHECK(watch.window(window).isValid());
    SetWindowPos(window, nullptr, 300, 240, 500, 350, SWP_NOZORDER | SWP_NOACTIVATE);
    const bool moved = TestKit::pumpUntil(
        [&] {
            return !moves.empty() && moves.back().first == window && moves.back().second &&
                   sameRect(*moves.back().second, Win32Windows::visibleFrame(window));
        },
        eventWaitMs(source));
    if (!moved && source == Source::Events && TestKit::runningUnderWine()) {
        DestroyWindow(window);
        return TestKit::skip("wine sends no EVENT_OBJECT_LOCATIONCHANGE, NAMECHANGE or "
                             "MINIMIZESTART; these hooks can only be proven on Windows");
    }
    CHECK(moved);
    moves.clear();
    ShowWindow(window, SW_MINIMIZE);
    CHECK(TestKit::pumpUntil([&] { return !moves.empty() && moves.back().first == window; }));
    CHECK(watch.window(window).minimized);
    SetWindowTextW(window, L"新标题 – 李四");
    CHECK(TestKit::pumpUntil([&] { return !titles.empty(); }));
    CHECK(titles == std::vector<std::wstring>{L"新标题 – 李四"});
    moves.clear();
    DestroyWindow(window);
    CHECK(TestKit::pumpUntil([&] { return !moves.empty() && !moves.back().second; }));
}

// The whole paste: our text on the clipboard, the chat window brought to the front, Ctrl+V, the
// chat program's read seen before our text is rendered for it, and only then Enter.
void ctrlVAndEnterPasteIntoTheChatWindow()
{
    ClipboardLog log;
    OurClipboard clipboard(log);
    CHECK(clipboard.isSet());
    CHECK(clipboard.requests().watchesClipboardData());
    TestKit::Helper chat(L"chat");
    if (!CHECK(chat.waitReady()))
        return;
    const HWND target = windowOf(chat.processId());
    CHECK(bringToFront(target));
    CHECK(Win32Keyboard::send({{VK_CONTROL, true}, {'V', true}, {'V', false}, {VK_CONTROL, false}})
              .ok());
    CHECK(TestKit::pumpUntil([&log] { return !log.renderings.empty(); }));
    if (CHECK(log.renderings.size() == 1))
        CHECK(log.renderings[0] == Win32ClipboardRequests::clientOfWindow(target));
    CHECK(Win32Keyboard::send({{VK_RETURN, true}, {VK_RETURN, false}}).ok());
    const std::wstring expected = std::wstring(TestKit::ClipboardText) + L"\r\n";
    CHECK(TestKit::pumpUntil([&] { return editText(target) == expected; }));
}

void aReaderWithAWindowIsNamed()
{
    ClipboardLog log;
    OurClipboard clipboard(log);
    TestKit::Helper reader(L"read window");
    const DWORD process = reader.processId();
    CHECK(reader.finish() == 0);
    if (CHECK(log.renderings.size() == 1))
        CHECK(log.renderings[0] == process);
}

void readersWithoutAWindowAreEachSomeoneUnknown()
{
    ClipboardLog log;
    OurClipboard clipboard(log);
    for (int reader = 0; reader < 2; ++reader) {
        CHECK(clipboard.renew());
        CHECK(TestKit::Helper(L"read nowindow").finish() == 0);
    }
    if (CHECK(log.renderings.size() == 2)) {
        CHECK(log.renderings[0] >= Win32ClipboardRequests::FirstUnknownClient);
        CHECK(log.renderings[1] >= Win32ClipboardRequests::FirstUnknownClient);
        CHECK(log.renderings[0] != log.renderings[1]);
    }
}

void aReadThroughOleIsSeenBeforeTheRendering()
{
    ClipboardLog log;
    OurClipboard clipboard(log);
    CHECK(clipboard.requests().watchesDataObjectCalls());
    TestKit::Helper reader(L"read ole");
    const DWORD process = reader.processId();
    CHECK(reader.finish() == 0);
    if (!CHECK(!log.renderings.empty()) || !CHECK(log.renderings.back().has_value()))
        return;
    if (*log.renderings.back() != process && TestKit::runningUnderWine() &&
        *log.renderings.back() >= Win32ClipboardRequests::FirstUnknownClient)
        return TestKit::skip("wine hands COM's message filter its own process id instead of the "
                             "calling thread's id, so the reading program cannot be named");
    CHECK(*log.renderings.back() == process);
}

struct Test {
    const char* name;
    void (*run)();
};

constexpr Test Tests[] = {
    {"keyNamesAndModifiers", keyNamesAndModifiers},
    {"keysReachTheWindowInFrontInOrder", keysReachTheWindowInFrontInOrder},
    {"aBadKeyIsRefusedBeforeAnyIsSent", aBadKeyIsRefusedBeforeAnyIsSent},
    {"heldModifiersAreSeen", heldModifiersAreSeen},
    {"aHotKeyFiresOnASynthesisedPress", aHotKeyFiresOnASynthesisedPress},
    {"aCombinationHeldElsewhereIsTaken", aCombinationHeldElsewhereIsTaken},
    {"foregroundChangesAreReportedByEvents", [] { foregroundChanges(Source::Events); }},
    {"foregroundChangesAreReportedByPolling", [] { foregroundChanges(Source::Polling); }},
    {"aChineseTitleAndClassAreReadAsTheyAre", aChineseTitleAndClassAreReadAsTheyAre},
    {"theFrameIsTheVisibleOne", theFrameIsTheVisibleOne},
    {"windowChangesAreReportedByEvents", [] { windowChanges(Source::Events); }},
    {"windowChangesAreReportedByPolling", [] { windowChanges(Source::Polling); }},
    {"ctrlVAndEnterPasteIntoTheChatWindow", ctrlVAndEnterPasteIntoTheChatWindow},
    {"aReaderWithAWindowIsNamed", aReaderWithAWindowIsNamed},
    {"readersWithoutAWindowAreEachSomeoneUnknown", readersWithoutAWindowAreEachSomeoneUnknown},
    {"aReadThroughOleIsSeenBeforeTheRendering", aReadThroughOleIsSeenBeforeTheRendering},
};

} // namespace

bool TestKit::check(bool condition, const char* what, int line)
{
    if (!condition) {
        ++g_failures;
        std::printf("    line %d: %s\n", line, what);
    }
    return condition;
}

void TestKit::skip(const std::string& reason)
{
    g_skipped = reason;
}

int main()
{
    int count = 0;
    wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (count >= 4 && std::wcscmp(arguments[1], L"--helper") == 0) {
        const auto handle = [](const wchar_t* text) {
            return reinterpret_cast<HANDLE>(
                static_cast<std::uintptr_t>(std::wcstoull(text, nullptr, 10)));
        };
        return TestKit::runHelper(handle(arguments[2]), handle(arguments[3]), count - 4,
                                  arguments + 4);
    }
    // As Qt sets up its GUI thread: OLE's single-threaded apartment, every monitor's own DPI.
    OleInitialize(nullptr);
    SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
    // One test by its name, for a closer look.
    const std::wstring only = count > 1 ? arguments[1] : L"";
    int passed = 0, failed = 0, skipped = 0;
    for (const Test& test : Tests) {
        if (!only.empty() && only != std::wstring(test.name, test.name + std::strlen(test.name)))
            continue;
        const int before = g_failures;
        g_skipped.clear();
        std::printf("%s\n", test.name);
        std::fflush(stdout);
        test.run();
        if (g_failures != before) {
            ++failed;
            std::printf("FAIL %s\n", test.name);
        } else if (!g_skipped.empty()) {
            ++skipped;
            std::printf("SKIP %s: %s\n", test.name, g_skipped.c_str());
        } else {
            ++passed;
            std::printf("PASS %s\n", test.name);
        }
        std::fflush(stdout);
    }
    OleUninitialize();
    std::printf("%d passed, %d failed, %d skipped\n", passed, failed, skipped);
    return failed == 0 ? 0 : 1;
}
