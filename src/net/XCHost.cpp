// Questions to the system's resolver, which can be given up. Those for a name end in a completion; those for the name of
// an address have no such form: a thread of the system's pool asks and waits in the caller's place.
//
// The system writes the answer when it likes, perhaps long after its caller has lost interest; not every resolver ends a
// question that is taken back. So question and answer stand in a block of their own with two references: the caller's
// and the question's. The completion, on a thread of the system, keeps or frees the answer and drops the second one. A
// caller whose time is over asks for the question's end, drops its own reference and goes.
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCHost.h>

#include "errors/CoreError.h"
#include "errors/SystemWords.h"
#include "net/HostName.h"
#include "net/NetErrors.h"
#include "net/SystemAddress.h"
#include "win32/LastError.h"
#include "win32/Process.h"
#include "win32/SystemFunction.h"
#include "win32/UniqueHandle.h"

#include <algorithm>
#include <string>

namespace {

using namespace xc::net;

/// A question on its way, whichever form it has.
struct Question : XCRefCount {
    xc::win32::UniqueKernelObject done{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    unsigned long error = 0;
};

/// For the addresses of a name. The system's structure comes first in its slot: the completion finds the rest by it.
struct AddressQuestion : Question {
    struct Slot {
        OVERLAPPED overlapped{};
        AddressQuestion* owner = nullptr;
    };

    Slot slot;
    std::wstring name;
    ADDRINFOEXW hints{};
    PADDRINFOEXW answer = nullptr;
    HANDLE handle = nullptr;

    ~AddressQuestion() override
    {
        if (answer) ::FreeAddrInfoExW(answer);
    }
};

/// For the name of an address. The thread that asks writes into the block, never into the caller's memory.
struct NameQuestion : Question {
    SystemAddress address;
    wchar_t name[NI_MAXHOST] = L"";
};

void End(Question& question, unsigned long error) noexcept
{
    // Before the event: whoever has seen it reads the error without a lock.
    question.error = error;
    ::SetEvent(question.done.Get());
    question.Release(); // the reference of whoever asks
}

void CALLBACK OnAnswer(DWORD error, DWORD, OVERLAPPED* overlapped)
{
    End(*reinterpret_cast<AddressQuestion::Slot*>(overlapped)->owner, error);
}

DWORD CALLBACK AskForName(void* context) noexcept
{
    NameQuestion& question = *static_cast<NameQuestion*>(context);
    // Only names: an address as text would look like an answer.
    int const result = ::GetNameInfoW(question.address.Get(), question.address.length, question.name, NI_MAXHOST,
                                      nullptr, 0, NI_NAMEREQD);
    End(question, static_cast<unsigned long>(result));
    return 0;
}

/// @return the system's error; WSA_IO_PENDING while the answer is on its way.
int Ask(AddressQuestion& question)
{
    question.slot.owner = &question;
    // Both versions: which of them leads to the peer only a connection can tell, and Connect tries them in turns.
    question.hints.ai_family = AF_UNSPEC;
    question.hints.ai_socktype = SOCK_STREAM;
    question.hints.ai_protocol = IPPROTO_TCP;
    question.AddRef(); // the completion's
    int const result =
        ::GetAddrInfoExW(question.name.c_str(), nullptr, NS_DNS, nullptr, &question.hints, &question.answer, nullptr,
                         &question.slot.overlapped, reinterpret_cast<LPLOOKUPSERVICE_COMPLETION_ROUTINE>(OnAnswer),
                         &question.handle); // some headers take any pointer for the routine
    // Only a question on its way has a completion.
    if (result != WSA_IO_PENDING) question.Release();
    return result;
}

/// The answer then comes at once, or when it likes.
void TakeBack(AddressQuestion& question) noexcept
{
    using Cancel = INT(WSAAPI*)(LPHANDLE);
    static auto const cancel = xc::win32::SystemFunction<Cancel>(L"ws2_32.dll", "GetAddrInfoExCancel");
    if (cancel && question.handle) (void)cancel(&question.handle);
}

XCErrorID WaitForAnswer(Question& question, XCString const& name, unsigned int timeoutMs, XCCancellation const* cancel)
{
    // The answer comes first: where it and the cancellation are there together, it is not thrown away.
    HANDLE const objects[] = {question.done.Get(), cancel ? static_cast<HANDLE>(cancel->GetHandle()) : nullptr};
    DWORD const woken = ::WaitForMultipleObjects(cancel ? 2 : 1, objects, FALSE, timeoutMs);
    if (woken == WAIT_OBJECT_0) return XCErrorID::Success;
    if (woken == WAIT_OBJECT_0 + 1) return xc::errors::MakeCoreError(XCErrSocketCancelled, name);
    return TimedOut();
}

XCErrorID NotFound(XCString const& name, unsigned long error)
{
    return xc::errors::MakeCoreError(XCErrHostNotFound, name, static_cast<long>(error),
                                     xc::errors::SystemWords(error, name));
}

/// For questions that end on a thread of the system, which then calls into this library: perhaps after its last user
/// has gone.
unsigned long PrepareToAsk() noexcept
{
    if (unsigned long const error = xc::win32::StartSockets()) return error;
    return xc::win32::PinLibrary() ? 0ul : static_cast<unsigned long>(ERROR_MOD_NOT_FOUND);
}

XCErrorID AskSystem(XCString const& name, std::uint16_t port, std::vector<XCSocketAddress>& addresses,
                    unsigned int timeoutMs, XCCancellation const* cancel)
{
    if (unsigned long const error = PrepareToAsk()) return NotFound(name, error);
    XCSmartPtr<AddressQuestion> const question(new AddressQuestion);
    question->name = name.View();
    int result = Ask(*question);
    if (result == WSA_IO_PENDING) {
        if (XCErrorID const fault = WaitForAnswer(*question, name, timeoutMs, cancel); fault.Bad()) {
            TakeBack(*question);
            return fault;
        }
        result = static_cast<int>(question->error);
    }
    if (result != 0) return NotFound(name, static_cast<unsigned long>(result));
    // The resolver repeats an address for each kind of socket that could use it.
    for (ADDRINFOEXW const* info = question->answer; info; info = reinterpret_cast<ADDRINFOEXW const*>(info->ai_next)) {
        if (info->ai_family != AF_INET && info->ai_family != AF_INET6) continue;
        XCSocketAddress const address(FromSystem(info->ai_addr).GetAddress(), port);
        bool const known = std::find(addresses.begin(), addresses.end(), address) != addresses.end();
        if (!known) addresses.push_back(address);
    }
    return addresses.empty() ? NotFound(name, WSANO_DATA) : XCErrorID();
}

} // namespace

// Public side --------------------------------------------------------------------------------------------------------

XCCancellation::XCCancellation() : m_event(::CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    if (!m_event) throw XCWindowsLastErrorException();
}

XCCancellation::~XCCancellation()
{
    ::CloseHandle(m_event);
}

void XCCancellation::Cancel() noexcept
{
    ::SetEvent(m_event);
}

void XCCancellation::Reset() noexcept
{
    ::ResetEvent(m_event);
}

bool XCCancellation::IsCancelled() const noexcept
{
    return ::WaitForSingleObject(m_event, 0) == WAIT_OBJECT_0;
}

XCErrorID XCHost::Resolve(XCString const& name, std::uint16_t port, std::vector<XCSocketAddress>& addresses,
                          unsigned int timeoutMs, XCCancellation const* cancel)
{
    addresses.clear();
    // No resolver is asked for an address as text: some take forms with several meanings, and it needs no network.
    XCIPAddress literal;
    XCErrorID const notLiteral = XCIPAddress::FromString(name, literal);
    if (notLiteral.Good()) {
        addresses.emplace_back(literal, port);
        return XCErrorID::Success;
    }
    // A colon never stands in a name: the fault of the address says more than "not found".
    if (name.IsNull() || LooksLikeAddress(name) || name.View().find(L':') != std::wstring_view::npos) return notLiteral;
    if (name.View().find(L'\0') != std::wstring_view::npos) return NotFound(name, WSAHOST_NOT_FOUND);
    // Answered here, as RFC 6761 asks: a resolver in the network could send the caller's secrets elsewhere.
    if (IsLocalName(name)) {
        addresses.emplace_back(XCIPAddress::Loopback(XCIPVersion::V6), port);
        addresses.emplace_back(XCIPAddress::Loopback(XCIPVersion::V4), port);
        return XCErrorID::Success;
    }
    return AskSystem(name, port, addresses, timeoutMs, cancel);
}

XCErrorID XCHost::Reverse(XCIPAddress const& address, XCString& name, unsigned int timeoutMs,
                          XCCancellation const* cancel)
{
    name.Clear();
    if (address.IsLoopback()) {
        name = L"localhost";
        return XCErrorID::Success;
    }
    XCString const text = address.AsString();
    if (unsigned long const error = PrepareToAsk()) return NotFound(text, error);
    XCSmartPtr<NameQuestion> const question(new NameQuestion);
    question->address = SystemAddress(XCSocketAddress(address, 0));
    // The system's pool in place of a thread of ours: a question may last longer than its caller, the library's last
    // user and the patience of whoever ends the process.
    question->AddRef(); // that of the thread
    if (!::QueueUserWorkItem(AskForName, question.GetPtr(), WT_EXECUTELONGFUNCTION)) {
        unsigned long const error = xc::win32::LastError();
        question->Release();
        return NotFound(text, error);
    }
    if (XCErrorID const fault = WaitForAnswer(*question, text, timeoutMs, cancel); fault.Bad()) return fault;
    if (question->error != 0) return NotFound(text, question->error);
    name = question->name;
    return XCErrorID::Success;
}

XCString XCHost::GetName()
{
    wchar_t name[NI_MAXHOST] = L"";
    if (xc::win32::StartSockets() != 0 || ::GetHostNameW(name, NI_MAXHOST) != 0) return {};
    return name;
}
