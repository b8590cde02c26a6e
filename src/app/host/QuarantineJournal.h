// QuarantineJournal.h - which modules are being called, in a file that outlives the process.
#pragma once

#include "app/host/QuarantineText.h"
#include "win32/File.h"
#include "win32/SlimLock.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace xc::host {

/// The journal of the process; without Start every call returns at once. All paths are those of messages (visible).
class RunJournal {
public:
    RunJournal();
    /// Never destroyed: threads of modules may outlive every host.
    static RunJournal& Get() noexcept;

    /// Begins the journal of a run in a new file, which nobody else may write or remove meanwhile. @return 0, or the number
    /// of the system's error.
    unsigned long Start(win32::SystemPath const& file);
    /// Ends it. A run that has ended well leaves no file; one that a fault has marked does, even when its host came to its
    /// end while another thread was at fault.
    void Stop() noexcept;
    [[nodiscard]] bool IsMarked() const noexcept { return m_marked; }
    /// Of this run.
    [[nodiscard]] std::vector<std::wstring> Modules() const;

    /// A module that is about to be loaded; from here on its calls are kept.
    void Enter(std::wstring_view path) noexcept;
    /// The image of a loaded module; null: it goes.
    void SetImage(std::wstring_view path, void const* module) noexcept;
    void Begin(wchar_t const* operation, std::wstring_view path) noexcept;
    void End(wchar_t const* operation, std::wstring_view path) noexcept;

    /// Marks the run as ended by a fault of the calling thread. Needs no lock and no memory; the first mark stays.
    void Mark(std::string_view fault, void const* const* frames, std::size_t count) noexcept;
    /// The same when the calling thread, inside a call into a module, ends the process.
    void MarkExit() noexcept;

private:
    static constexpr std::size_t kMostCalls = 16; ///< kept of one module; more are counted

    struct Module {
        std::wstring path; ///< as the file keeps it
        std::atomic<int> place{-1};
        std::atomic<int> open{0};
        std::atomic<std::uintptr_t> image{0}, imageEnd{0};
        Module* next = nullptr;
        wchar_t const* calls[kMostCalls]{}; ///< guarded by the lock
    };
    struct Less {
        using is_transparent = void;
        bool operator()(std::wstring_view a, std::wstring_view b) const noexcept;
    };

    Module* Find(std::wstring_view path) const noexcept;
    void WriteCalls(Module& module) noexcept;
    [[nodiscard]] int PlaceOfCall(unsigned long thread, wchar_t const*& operation) const noexcept;
    [[nodiscard]] int PlaceOfCode(void const* const* frames, std::size_t count) const noexcept;
    void WriteMark(std::string_view fault, wchar_t const* operation, Culprits const& culprits) noexcept;

    std::atomic<bool> m_started{false};
    std::atomic<bool> m_marked{false};
    mutable win32::SlimLock m_lock;
    win32::SystemPath m_path;
    win32::File m_file;
    int m_places = 0;
    std::map<std::wstring_view, std::unique_ptr<Module>, Less> m_modules; ///< those of ended runs stay, without a place
    std::atomic<Module*> m_first{nullptr};                                ///< the same, for who may not lock
};

/// The entry of one call.
class JournaledCall {
public:
    JournaledCall(wchar_t const* operation, std::wstring_view path) noexcept : m_operation(operation), m_path(path)
    {
        RunJournal::Get().Begin(m_operation, m_path);
    }
    ~JournaledCall() { RunJournal::Get().End(m_operation, m_path); }
    JournaledCall(JournaledCall const&) = delete;
    JournaledCall& operator=(JournaledCall const&) = delete;

private:
    wchar_t const* m_operation;
    std::wstring_view m_path; ///< of the caller, who keeps it until the call has ended
};

} // namespace xc::host
