// XCLogPattern.h - the layout of log lines, from a pattern that is compiled once.
//
// WHAT     XCLogPattern(L"%T %-7L %t %c: %m%n") lays a block out as
//          2026-11-21 02:40:00.123 warning 34 main: disk is nearly full
//
//              %T  local time, 2026-11-21 02:40:00.123     %m  the text, on one line (as XCLogLayout::OneLine)
//              %U  the same in UTC, 2026-11-21T02:40:00.123Z   %M  the text as it stands
//              %L  name of the level                       %f  the fields, " name=value" each
//              %l  number of the level                     %n  line feed
//              %c  channel                                 %%  a percent sign
//              %p  process     %t  thread
//
//          A number after the percent sign is the least width (1 to 99): %7L stands at the right, %-7L at the left. A
//          pattern without %f has the fields right after its last text, one without a line end gets a line feed.
// COST     Compiling allocates; copies share what was compiled. A record costs the time once, and no allocation.
// ERRORS   A letter that is none of these, or a cut conversion: XCErrLogPattern, with the pattern and the position.
// THREADS  A plain value.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>

#include <memory>
#include <string_view>

namespace xc::log {
class Pattern;
}

/// See the head of this header.
class XC_API XCLogPattern {
public:
    /// "%m%n".
    XCLogPattern();
    /// Compiles a pattern. @throws XCException with the error.
    explicit XCLogPattern(std::wstring_view pattern);
    ~XCLogPattern();
    XCLogPattern(XCLogPattern const&) noexcept;
    XCLogPattern& operator=(XCLogPattern const&) noexcept;

    /// Compiles another pattern, as one from a setting. Bad: the layout stays as it was.
    XCErrorID Compile(std::wstring_view pattern);
    /// What was compiled, for the subscribers of the library.
    [[nodiscard]] std::shared_ptr<xc::log::Pattern const> const& GetCompiled() const noexcept { return m_pattern; }

private:
    std::shared_ptr<xc::log::Pattern const> m_pattern;
};
