// What must not compile, a line each, with words of the compiler's message. Lines without such words must compile.
#include <XelbrinCore/XelbrinCore.h>
#include <mutex>

template <int>
struct Opaque {
};
enum class Colour { Red };

XCErrorID Fallible();

void Formats(XCString& text, XCLogFile& file, XCErrorID const& error)
{
    text.Format(L"%s %d %s %s", text, Colour::Red, error, XCDateEx(2024, 1, 31));
    text.Format(L"%s", Opaque<1>());                                  // refused: this argument is none of them
    file.LogArgs(L"%s", Opaque<2>());                                 // refused: this argument is none of them
    XCTrace::Msg(XCTrace::TraceInfo, 1, L"here", L"%s", Opaque<3>()); // refused: this argument is none of them
}

void Texts(XCString& text)
{
    text += L'A';
    text = text + L'A' + L"b";
    text = 65;       // refused: use of deleted function
    text += 65;      // refused: use of deleted function
    text = text + 5; // refused: use of deleted function
    text = 5 + text; // refused: use of deleted function
}

void Pointers(XCSmartPtr<XCThread>& thread, XCSmartPtrToConst<XCThread> const& other)
{
    bool const started =
        thread && !(thread == nullptr) && thread != other && (*thread).GetName() == thread[0].GetName();
    void const* const address = thread;
    XCRefCountI* const object = started ? thread : nullptr;
    (void)address, (void)object;
    delete thread; // refused: SmartPointersReleaseTheirObject
    delete other;  // refused: SmartPointersReleaseTheirObject
}

void Results()
{
    (void)Fallible();
    if (Fallible().Bad()) return;
    Fallible();                  // refused: nodiscard
    if (!Fallible()) return;     // refused: say Good() or Bad()
    if (Fallible()) return;      // refused: say Good() or Bad()
    bool const good(Fallible()); // refused: say Good() or Bad()
    (void)good;
}

void Locks(XCCriticalSection& section, XCMutex& mutex, XCSynchronizedCriticalSection& signal, XCCommandLine const& line)
{
    std::scoped_lock const all(section, mutex, signal);
    std::unique_lock const tried(mutex, std::try_to_lock);
    unsigned long const width = line.GetArg(L"width", 5UL);
    (void)width;
}
