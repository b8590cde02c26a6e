// QuarantineText.h - what the files of the quarantine say, and who is to blame for a fault.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace xc::host {

// The journal of a run: a head with the mark of a fault, then one place for each module.
inline constexpr std::string_view kJournalHead = "XelbrinCore journal 1\n";
inline constexpr std::size_t kMarkAt = 64;
inline constexpr std::size_t kMarkBytes = 960;
inline constexpr std::size_t kModulesAt = kMarkAt + kMarkBytes;
inline constexpr std::size_t kCallsBytes =
    256; ///< of a place: the calls under way, separated by commas, and a line end
inline constexpr std::size_t kModuleBytes = 1280; ///< of a place as a whole: after the calls the path and a line end

/// A path as files of the quarantine keep it: its end, when it is longer than they have room for.
std::wstring_view EndOfPath(std::wstring_view path) noexcept;

/// Whom a fault is blamed on, as places of the journal.
struct Culprits {
    static constexpr std::size_t kMost = 64;

    bool confirmed = false; ///< one module, no doubt
    std::size_t count = 0;
    int places[kMost]{};

    void Add(int place) noexcept;
};

/// The rule, which needs no memory:
///
///     | innermost call of the thread | code on its stack        | verdict                                 |
///     | into A                       | of A, or of no module    | A is confirmed                          |
///     | into A                       | of B                     | A and B are suspected                   |
///     | none                         | of B                     | B is suspected: a thread of its own     |
///     | none                         | of no module             | every module with a call under way is   |
///
/// @param call, code -1: none.   @param open modules with calls under way.
Culprits FindCulprits(int call, int code, int const* open, std::size_t openCount) noexcept;

/// Writes the line of a mark, with a checksum; needs no memory. Returns the count of bytes, at most kMarkBytes.
std::size_t FormatMark(char* to, std::string_view what, Culprits const& culprits) noexcept;

/// What a journal tells of its run.
struct RunEnd {
    struct Module {
        std::wstring path;
        std::wstring calls; ///< under way at the end; empty: none
    };
    struct Fault {
        bool confirmed;
        std::wstring what; ///< moment and fault, separated by a tab
        std::vector<std::size_t> modules;
    };
    std::vector<Module> modules;
    std::optional<Fault> fault; ///< none: the run ended without one, or its mark is damaged
};
/// Takes whatever bytes there are: a damaged mark is none, a damaged place is a module without a path.
RunEnd ReadJournal(std::string_view bytes);

/// What is held against one module.
struct Verdict {
    static constexpr std::size_t kMostSuspicions = 3; ///< in a row

    std::wstring path;
    bool confirmed = false;
    std::vector<std::wstring> runs; ///< marks of the runs that ended in a fault while it was suspected
    std::uint64_t size = 0;         ///< of the file at that time
    std::int64_t written = 0;       ///< its last change, in units of 100 ns
    std::wstring what;              ///< as RunEnd::Fault

    [[nodiscard]] bool IsSkipped() const noexcept { return confirmed || runs.size() >= kMostSuspicions; }
};
/// @param malformed receives the count of lines that are none.
std::vector<Verdict> ReadVerdicts(std::string_view bytes, std::size_t& malformed);
std::string FormatVerdicts(std::vector<Verdict> const& verdicts);

} // namespace xc::host
