// Exceptions, the stacks they carry, and their way across module borders.
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCOldDateTime.h>
#include <XelbrinCore/XCSync.h>

#include "errors/Crossing.h"
#include "errors/Plain.h"
#include "errors/TestModule.h"
#include "prelude.h"
#include "scratch_files.h"

namespace {

constexpr char kDisabled[] = "(Stack disabled - XC_DISABLE_STACK is defined)";

__attribute__((noinline)) void ThrowFromHere(int depth)
{
    if (depth == 0) throw XCException(L"thrown");
    ThrowFromHere(depth - 1);
    asm volatile("");
}

std::string StackOf(void (*thrower)(ThrownKind))
{
    try {
        thrower(ThrownKind::Plain);
    } catch (XCException const& e) {
        return Plain(e.Stack());
    }
    return "nothing thrown";
}

TEST(XCException, StackNamesHostAndModule)
{
    if (SymbolsTakeTooLong()) GTEST_SKIP() << "names of frames";
    std::string const host = StackOf([](ThrownKind) { ThrowFromHere(3); });
    EXPECT_EQ(host.find("test_errors.exe!ThrowFromHere+0x"), 0u) << host;
    EXPECT_NE(host.find("!BaseThreadInitThunk"), std::string::npos) << host;
    std::string const module = StackOf(TestModuleFunction<void (*)(ThrownKind)>("ThrowInModule"));
    EXPECT_EQ(module.find("errors_module.osx!"), 0u) << module;
    EXPECT_NE(module.find("ThrowInModule"), std::string::npos) << module;
    EXPECT_NE(module.find(" [errors_module.cpp:"), std::string::npos) << module; // from the file beside it
    EXPECT_NE(module.find("test_errors.exe!"), std::string::npos) << module;
}

// Wine cannot read what this linker puts into its database; what the module exports is then left.
TEST(XCException, StackNamesAModuleWhoseSymbolsAreElsewhere)
{
    // The system's reader keeps the last one open.
    ScratchFolder const folder(std::filesystem::temp_directory_path() / "xc_elsewhere");
    std::string bytes = ReadFile(std::filesystem::path(TestModuleFolder()) / "errors_elsewhere.osx");
    // The linker marks a module without debug data of its own as stripped of all, also of its database.
    bytes[static_cast<unsigned char>(bytes.at(0x3C)) + 23u] &= ~(IMAGE_FILE_DEBUG_STRIPPED >> 8);
    for (char const* const file : {"first.osx", "second.osx"}) { // at the same place, one after the other
        folder.Write(file, bytes);
        HMODULE const module = ::LoadLibraryW(folder.Path(file).AsWChar());
        std::string const stack = StackOf(
            reinterpret_cast<void (*)(ThrownKind)>(reinterpret_cast<void*>(::GetProcAddress(module, "ThrowInModule"))));
        EXPECT_EQ(stack.find(file), 0u) << stack;
        EXPECT_NE(stack.find(file + std::string("!ThrowInModule+0x")), std::string::npos) << stack;
        ::FreeLibrary(module);
    }
}

/// The library refuses the name: it throws, in its own code, for the caller.
void ThrowInLibrary(ThrownKind)
{
    XCMutex const refused(XCString(L"no\\such\\place"));
}

TEST(XCException, CrossesFromTheLibrary)
{
    EXPECT_EQ(CatchKind(ThrowInLibrary, ThrownKind::Nothing), ThrownKind::LastError);
    auto const catchInModule = TestModuleFunction<ThrownKind (*)(void (*)(ThrownKind), ThrownKind)>("CatchInModule");
    EXPECT_EQ(catchInModule(ThrowInLibrary, ThrownKind::Nothing), ThrownKind::LastError);
    if (SymbolsTakeTooLong()) GTEST_SKIP() << "names of frames";
    std::string const stack = StackOf(ThrowInLibrary);
    EXPECT_EQ(stack.find("XelbrinCore-x64.dll!"), 0u) << stack;
    EXPECT_NE(stack.find("XCMutex::XCMutex(XCString const&, bool)+0x"), std::string::npos) << stack;
    EXPECT_NE(stack.find("\ntest_errors.exe!"), std::string::npos) << stack;
}

TEST(XCException, NoStackWhenNotWanted)
{
    EXPECT_TRUE(XCException(L"quiet", true).Stack().IsNull());
    EXPECT_TRUE(XCException(XCErrorID(XCSmartPtr<XCErrorString>(new XCErrorString(L"quiet"))), true).Stack().IsNull());
}

TEST(XCException, MessageInBothWidths)
{
    XCException const e(L"caf\u00E9 \U0001F600 \xD800");
    EXPECT_STREQ(e.what(), "caf\xC3\xA9 \xF0\x9F\x98\x80 \xEF\xBF\xBD");
    EXPECT_EQ(static_cast<std::exception const&>(e).what(), e.what());
    EXPECT_TRUE(e.GetErrorID().AsString() == e.What());
}

TEST(XCException, CopiesShareTheirTexts)
{
    std::optional<XCException> first(std::in_place, L"shared");
    XCException const copy(*first);
    char const* const narrow = first->what();
    EXPECT_EQ(copy.what(), narrow);
    XCException assigned(L"other");
    assigned = copy;
    first.reset();
    EXPECT_TRUE(assigned.What() == L"shared");
    EXPECT_EQ(assigned.what(), narrow);
}

TEST(XCWindowsLastErrorException, ReadsTheErrorFirst)
{
    ::SetLastError(ERROR_ACCESS_DENIED);
    try {
        throw XCWindowsLastErrorException();
    } catch (XCWindowsLastErrorException const& e) {
        EXPECT_EQ(e.GetLastErrorCode(), 5u);
        EXPECT_EQ(static_cast<int>(e.GetErrorID()), 5);
        std::string const text = Plain(e.What()); // "Access denied.", or "is denied": the words are the system's
        EXPECT_TRUE(text.starts_with("Access ") && text.ends_with(" denied.")) << text; // no line end
    }
}

constexpr ThrownKind kKinds[] = {ThrownKind::Plain,    ThrownKind::Message, ThrownKind::LastError,
                                 ThrownKind::Date,     ThrownKind::DateEx,  ThrownKind::DurationEx,
                                 ThrownKind::Standard, ThrownKind::Nothing};

TEST(XCException, CrossesModulesByType)
{
    auto const throwInModule = TestModuleFunction<void (*)(ThrownKind)>("ThrowInModule");
    auto const catchInModule = TestModuleFunction<ThrownKind (*)(void (*)(ThrownKind), ThrownKind)>("CatchInModule");
    for (ThrownKind const kind : kKinds) {
        EXPECT_EQ(CatchKind(throwInModule, kind), kind);
        EXPECT_EQ(catchInModule(ThrowKind, kind), kind);
    }
}

/// The environment is looked at once per process: a new one answers.
TEST(XCException, StackIsDisabledByTheEnvironment)
{
    if (SymbolsTakeTooLong()) GTEST_SKIP() << "names of frames";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const check = [] {
        std::string const stack = Plain(XCException(L"x").Stack());
        std::exit(stack == kDisabled && XCException(L"x", true).Stack().IsNull() ? 0 : 1);
    };
    ::SetEnvironmentVariableW(L"XC_DISABLE_STACK", L"");
    EXPECT_EXIT(check(), testing::ExitedWithCode(0), ""); // defined, though empty
    ::SetEnvironmentVariableW(L"XC_DISABLE_STACK", nullptr);
    EXPECT_EXIT(check(), testing::ExitedWithCode(1), "");
}

std::optional<XCStackDump> g_dump;

LONG CALLBACK KeepDump(EXCEPTION_POINTERS* info)
{
    if (info->ExceptionRecord->ExceptionCode != 0xE0001234) return EXCEPTION_CONTINUE_SEARCH;
    g_dump.emplace(info->ContextRecord, info->ExceptionRecord->ExceptionCode);
    return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(XCSignalException, TakesNumberAndStackFromTheDump)
{
    if (SymbolsTakeTooLong()) GTEST_SKIP() << "names of frames";
    void* const handler = ::AddVectoredExceptionHandler(1, KeepDump);
    ::RaiseException(0xE0001234, 0, 0, nullptr);
    ::RemoveVectoredExceptionHandler(handler);
    ASSERT_TRUE(g_dump.has_value());
    XCSignalException const e(*g_dump);
    EXPECT_EQ(e.GetSeHNumber(), 0xE0001234u);
    EXPECT_TRUE(e.What() == L"Structured exception 0xE0001234") << e.what();
    std::string const stack = Plain(e.Stack());
    EXPECT_NE(stack.find("RaiseException+0x"), std::string::npos) << stack;
    EXPECT_NE(stack.find("\ntest_errors.exe!TestBody"), std::string::npos) << stack; // named from the debug data
}

TEST(XCStackDump, StartsAtItsCaller)
{
    HMODULE module = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         static_cast<LPCWSTR>(XCStackDump().GetFrame(0)), &module);
    EXPECT_EQ(module, ::GetModuleHandleW(nullptr));
}

TEST(XCStackDump, SurvivesNonsenseRegisters)
{
    if (SymbolsTakeTooLong()) GTEST_SKIP() << "names of frames";
    CONTEXT registers{};
    EXPECT_EQ(XCStackDump(&registers).GetFrameCount(), 1u);
    ::RtlCaptureContext(&registers);
    registers.Rip = 16; // a call through a bad pointer: the caller is still on the stack
    XCStackDump const dump(&registers);
    EXPECT_GE(dump.GetFrameCount(), 1u);
    EXPECT_EQ(dump.GetFrame(0), reinterpret_cast<void*>(16));
    (void)dump.AsString();
    // In this function, whose block of its own size needs a frame register, a wild one leads nowhere.
    auto* const block = static_cast<char volatile*>(__builtin_alloca(16 + registers.ContextFlags % 2));
    *block = 0;
    ::RtlCaptureContext(&registers);
    EXPECT_GT(XCStackDump(&registers).GetFrameCount(), 2u);
    registers.Rbp = 0x20000;
    EXPECT_EQ(XCStackDump(&registers).GetFrameCount(), 1u);
    EXPECT_EQ(XCStackDump(nullptr).GetFrameCount(), 0u);
    EXPECT_EQ(XCStackDump(nullptr).GetFrame(0), nullptr);
}

} // namespace
