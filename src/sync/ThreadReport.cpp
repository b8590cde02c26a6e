// The text of a dump: who the threads are, which plug-ins they are in, and where they stand.
//
// Everything here happens while all threads run: the stacks were taken before. Names of frames are looked up once for
// each address of a report, since a look-up costs some ten microseconds and hundreds of threads wait at a few places.
// Symbols need the loader; when some thread has held its lock for a moment that is too long, a module hangs in there, and
// names come from the images alone. The registry is copied first, so that no name is looked up under its mutex.
#include "sync/ThreadReport.h"

#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCStringParts.h>
#include <XelbrinCore/XCThread.h>

#include "errors/CoreError.h"
#include "errors/RunningCalls.h"
#include "sync/ThreadRegistry.h"
#include "text/LineText.h"
#include "text/Visible.h"
#include "win32/AppendFile.h"
#include "win32/LastError.h"
#include "win32/StackTrace.h"

#include <algorithm>
#include <windows.h>

namespace xc::sync {

namespace {

constexpr unsigned int kLoaderPatienceMs = 200;

/// What the registry knows of one thread.
struct Registered {
    unsigned long id;
    XCString name;
    unsigned long flags;
};

std::vector<Registered> RegisteredThreads()
{
    std::vector<Registered> known;
    RegistryAccess const registry;
    for (auto const& [id, entry] : registry.Threads()) known.push_back({id, entry.thread->GetName(), entry.flags});
    return known;
}

/// @param known ordered by identifier, as the registry has them.
Registered const* Find(std::vector<Registered> const& known, unsigned long id)
{
    auto const found = std::ranges::lower_bound(known, id, {}, &Registered::id);
    return found == known.end() || found->id != id ? nullptr : &*found;
}

/// The registered ones first, each group by identifier.
void Order(std::vector<win32::ThreadStack>& stacks, std::vector<Registered> const& known)
{
    std::ranges::sort(stacks, {}, [&](win32::ThreadStack const& stack) {
        return std::pair(Find(known, stack.id) == nullptr, stack.id);
    });
}

XCString HeadOf(win32::ThreadStack const& stack, Registered const* known)
{
    XCString head;
    head.Format(L"thread %lu", stack.id);
    // The system's name is asked for only where the library has none: a question for each of many threads takes time.
    bool const isNamed = known && !known->name.IsNull();
    XCString const name = isNamed ? known->name : XCString(win32::NameOfThread(stack.thread.get()));
    if (!name.IsNull()) head += L" \"" + text::Visible(name) + L"\"";
    if (stack.isCaller) head += L" (which asks)";
    return head + L"\n";
}

XCString Indented(XCString const& lines)
{
    XCString text;
    for (std::wstring_view const line : XCSplitViews(lines.View(), L"\n")) text += L"    " + XCString(line) + L"\n";
    return text;
}

XCString CallsText(unsigned long id)
{
    XCString const calls = errors::RunningCallsText(id);
    return calls.IsNull() ? XCString() : Indented(calls);
}

/// Times and priority of a thread; empty when the system does not tell them any more.
XCString FactsText(void* handle, unsigned long id)
try {
    return L"    " + XCThreadInfo(handle, id).AsString() + L"\n";
} catch (XCException const&) {
    return {};
}

XCString FactsOf(win32::ThreadStack const& stack, Registered const* known)
{
    XCString flags;
    if (known) flags.Format(L"    flags 0x%lX\n", known->flags);
    return FactsText(stack.thread.get(), stack.id) + flags;
}

/// @return Bad where the system does not list threads.
XCErrorID Dump(XCString& text, XCDumpOptions const& options, bool withFacts)
{
    // Names and flags before, names of frames after: neither the mutex of the registry nor the symbols are asked for
    // while a thread is suspended. A thread that begins in between is told without its name.
    std::vector<Registered> const known = RegisteredThreads();
    std::vector<win32::ThreadStack> stacks = win32::CaptureThreads({}, options.patienceMs);
    // The calling thread is always there, unless nothing could be listed.
    if (stacks.empty()) return errors::MakeCoreError(XCErrThreadsUnlisted);
    Order(stacks, known);
    FrameNames names;
    text = XCString();
    for (win32::ThreadStack const& stack : stacks) {
        Registered const* const one = Find(known, stack.id);
        if (options.onlyRegistered && !one) continue;
        text += HeadOf(stack, one);
        if (withFacts) text += FactsOf(stack, one);
        text += CallsText(stack.id) + FramesText(stack, options.maxFrames, names);
    }
    return XCErrorID::Success;
}

} // namespace

FrameNames::FrameNames() : m_loaderFree(win32::IsLoaderFree(kLoaderPatienceMs)) {}

std::wstring const& FrameNames::Of(void const* address, bool isReturn)
{
    auto const [at, isNew] = m_names.try_emplace({address, isReturn});
    if (isNew)
        at->second =
            m_loaderFree ? win32::DescribeAddress(address, isReturn) : win32::DescribeWithoutLoader(address, isReturn);
    return at->second;
}

XCString FramesText(win32::ThreadStack const& stack, std::size_t maxFrames, FrameNames& names)
{
    if (stack.state == win32::ThreadStack::State::Ended) return L"    ended\n";
    if (stack.state == win32::ThreadStack::State::Unreachable) return L"    not reachable\n";
    std::wstring text;
    for (std::size_t i = 0; i < std::min(stack.count, maxFrames); ++i) {
        // The first address of another thread is its next instruction, all others follow calls.
        std::wstring const& name = names.Of(stack.frames[i], i > 0 || stack.isCaller);
        if (!name.empty()) text.append(4, L' ').append(name).append(1, L'\n');
    }
    return XCString(text);
}

XCString StackOfThread(unsigned long id)
{
    XCDumpOptions const options;
    FrameNames names;
    XCString text;
    for (win32::ThreadStack const& stack : win32::CaptureThreads({id}, options.patienceMs))
        text += FramesText(stack, options.maxFrames, names);
    return text;
}

} // namespace xc::sync

XCErrorID XCDumpAllStacks(XCString& text, XCDumpOptions const& options)
{
    return xc::sync::Dump(text, options, false);
}

XCErrorID XCWriteThreadInfo(XCString const& path)
{
    XCString text;
    XCErrorID const dumped = xc::sync::Dump(text, {}, true);
    if (dumped.Bad()) return dumped;
    std::string record;
    text = XCDateTimeEx::GetCurrentDateTime().AsString() + L"\n" + text;
    xc::text::AppendIndented(record, text.View(), "\r\n");
    record += "\r\n";
    if (xc::win32::AppendToFile(xc::win32::SystemPath(path.View()), record)) return XCErrorID::Success;
    return xc::errors::MakeFileError(XCErrFileCannotWrite, path, xc::win32::LastError());
}
