// ServiceManager.h - the system's service manager: entries of services, and a process that is one.
//
// Errors are the numbers of the operating system; 0 is success.
#pragma once

#include <string>
#include <vector>

namespace xc::win32 {

inline constexpr unsigned long kErrorServiceExists = 1073;
inline constexpr unsigned long kErrorServiceMissing = 1060;

/// What the manager keeps of a service.
struct ServiceEntry {
    std::wstring name;
    std::wstring displayName;
    std::wstring description;
    std::wstring command;                   ///< the command line of its process
    std::wstring account;                   ///< empty: the system's own
    std::wstring password;                  ///< of the account, where it has one
    std::vector<std::wstring> dependencies; ///< services that run before it
    unsigned long start = 3;                ///< 2 with the machine, 3 on demand, 4 never
    bool isDelayed = false;                 ///< with the machine, after the others
    unsigned int restartAfterMs = 0;        ///< after a failure; 0: not
    unsigned int shutdownMs = 0;            ///< how long the manager waits for it before the machine goes down
};

/// Enters a service. Bad, and nothing entered, when one of the facts is refused.
unsigned long InstallService(ServiceEntry const& entry);
/// Stops a service, waits for its process and takes it out. @param patienceMs for all of it. WAIT_TIMEOUT (258): the
/// service goes on, and stays.
unsigned long RemoveService(wchar_t const* name, unsigned int patienceMs);

/// The state of a service as its manager is told it.
struct ServiceReport {
    unsigned long state = 1;    ///< 1 stopped, 2 starting, 3 stopping, 4 running
    unsigned long accepted = 0; ///< bits: 0x1 stop, 0x4 shutdown, 0x100 before the shutdown
    unsigned long exitCode = 0; ///< a number of the system; 1066: specificCode counts
    unsigned long specificCode = 0;
    unsigned long checkPoint = 0; ///< grows while it starts or stops, else 0
    unsigned long hintMs = 0;     ///< until the next one; 0 in other states
};

/// A process as the manager sees it. Calls come on threads of the system.
class ServiceBody {
public:
    virtual ~ServiceBody() = default;
    /// The whole life of the service. @param handle for ReportService. @param arguments of the start, the name first.
    virtual void Live(void* handle, std::vector<std::wstring> const& arguments) noexcept = 0;
    /// Returns soon. @return the answer to the manager.
    virtual unsigned long Control(unsigned long control) noexcept = 0;
};

/// Makes the process a service until it has lived. Not started by the manager: 1063.
unsigned long RunService(wchar_t const* name, ServiceBody& body);
unsigned long ReportService(void* handle, ServiceReport const& report) noexcept;

/// Whether the process is a service: from the beginning of RunService on.
bool IsService() noexcept;

} // namespace xc::win32
