// Colors on a console, which is a fake that answers as the system's consoles do.
#include "sync/import_patch.h"

namespace {

DWORD g_mode; // of the fake
bool g_knowsSequences;
std::wstring g_shown;

BOOL WINAPI FakeGetMode(HANDLE, DWORD* mode)
{
    *mode = g_mode;
    return TRUE;
}
BOOL WINAPI FakeSetMode(HANDLE, DWORD mode)
{
    if ((mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) && !g_knowsSequences) return FALSE;
    g_mode = mode;
    return TRUE;
}
BOOL WINAPI FakeWrite(HANDLE, void const* text, DWORD count, DWORD* written, void*)
{
    g_shown.append(static_cast<wchar_t const*>(text), count);
    *written = count;
    return TRUE;
}

TEST(XCConsoleLogSubscriber, ColorsWhereTheConsoleHasThem)
{
    sync_test::ImportPatch const getMode("GetConsoleMode", &FakeGetMode);
    sync_test::ImportPatch const setMode("SetConsoleMode", &FakeSetMode);
    sync_test::ImportPatch const write("WriteConsoleW", &FakeWrite);
    // fault, knowsSequences, asked, noColor, level, shown
    Rows<bool, bool, wchar_t const*, int, wchar_t const*> const rows = {
        {"an error", true, true, nullptr, -3, L"\x1B[91mx\x1B[0m\r\n"},
        {"a warning, NO_COLOR without a value", true, true, L"", 0, L"\x1B[93mx\x1B[0m\r\n"},
        {"information stays as it is", true, true, nullptr, 1, L"x\r\n"},
        {"details", true, true, nullptr, 2, L"\x1B[90mx\x1B[0m\r\n"},
        {"nobody asked", true, false, nullptr, -1, L"x\r\n"},
        {"NO_COLOR", true, true, L"1", -1, L"x\r\n"},
        {"an old console", false, true, nullptr, -1, L"x\r\n"},
    };
    for (auto const& [fault, knowsSequences, asked, noColor, level, shown] : rows) {
        SCOPED_TRACE(fault);
        g_mode = ENABLE_PROCESSED_OUTPUT;
        g_knowsSequences = knowsSequences;
        g_shown.clear();
        ::SetEnvironmentVariableW(L"NO_COLOR", noColor);
        XCSmartPtr<XCConsoleLogSubscriber> const console(new XCConsoleLogSubscriber(5));
        console->SetColors(asked);
        console->OnFlush(level, L"x\r\n");
        console->SetPattern(XCLogPattern(L"%m\r\n"));
        console->OnFlush(level, L"x");
        EXPECT_EQ(g_shown, std::wstring(shown) + shown);
    }
    ::SetEnvironmentVariableW(L"NO_COLOR", nullptr);
}

} // namespace
