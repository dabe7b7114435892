# The Win32 core: plain C++ and the Win32 API, no Qt. On Windows it is part of quillmate_platform;
# on Linux tests/win32 cross-compiles it with mingw-w64 into the test that runs under wine.
set(QUILLMATE_WIN32_CORE_SOURCES
  Win32Result.h
  Win32Keys.h Win32Keys.cpp
  Win32MessageWindow.h Win32MessageWindow.cpp
  Win32Windows.h Win32Windows.cpp
  Win32WindowWatch.h Win32WindowWatch.cpp
  Win32Keyboard.h Win32Keyboard.cpp
  Win32HotKeys.h Win32HotKeys.cpp
  Win32ClipboardRequests.h Win32ClipboardRequests.cpp
  ScreenScaling.h ScreenScaling.cpp
)
list(TRANSFORM QUILLMATE_WIN32_CORE_SOURCES PREPEND ${CMAKE_CURRENT_LIST_DIR}/)
set(QUILLMATE_WIN32_CORE_LIBS dwmapi ole32 uuid)
# Unicode entry points, no min/max macros, Windows 10 declarations.
set(QUILLMATE_WIN32_CORE_DEFINITIONS UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
