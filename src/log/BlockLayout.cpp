// A block and its layout. Most blocks are written as they stand, which is decided first and costs nothing else. The
// others are taken apart into message, fields and line end: by what the delivery has announced (RecordFields), or, for
// a block without fields and for a text that a program made of one, by the line end alone.
#include "log/BlockLayout.h"

#include "log/RecordFields.h"
#include "log/RecordText.h"
#include "win32/Clock.h"
#include "win32/Process.h"

#include <XelbrinCore/XCLogLevel.h>

namespace xc::log {

namespace {

// A text that nobody announced has no fields: it was made by a program, or by a stream.
ServedText PartsOf(std::wstring_view text)
{
    ServedText parts;
    if (FindServed(text, parts)) return parts;
    parts.message = WithoutLineEnd(text);
    parts.end = text.substr(parts.message.size());
    return parts;
}

/// Red, yellow, nothing, grey, grey.
std::wstring_view ColorOf(int level) noexcept
{
    if (level <= XCLogError) return L"\x1B[91m";
    if (level == XCLogWarning) return L"\x1B[93m";
    return level == XCLogInfo ? std::wstring_view() : L"\x1B[90m";
}

} // namespace

void AppendBlock(std::string& to, BlockLayout const& layout, XCString const& channel, int level, XCString const& text)
{
    if (layout.IsAsIs()) return AppendText(to, text.View());
    ServedText const parts = PartsOf(text.View());
    if (layout.pattern) return layout.pattern->Append(to, channel.View(), level, parts);
    // The thread that delivers is the one that wrote, but for texts that a thread left when it ended.
    // The time is that of the writing, not of the first word: the lines of the file ascend by it.
    if (layout.layout == XCLogLayout::Json)
        return AppendJsonRecord(to, {win32::UtcNow(), level, channel.View(), win32::ProcessId(), win32::ThreadId(),
                                     parts.message, parts.fields});
    AppendEscaped(to, parts.message);
    AppendText(to, parts.plainFields); // written out already
    // The line end of the text, if it had one, so that "\r\n" stays what it was; else one is added, since every record
    // of these layouts is a line.
    AppendText(to, parts.end.empty() ? std::wstring_view(L"\n") : parts.end);
}

std::wstring InColor(int level, std::wstring_view block)
{
    std::wstring colored(ColorOf(level));
    if (colored.empty()) return colored;
    // The end of the line stays outside: a console would color the rest of the next line, too.
    std::wstring_view const body = WithoutLineEnd(block);
    return colored.append(body).append(L"\x1B[0m").append(block.substr(body.size()));
}

} // namespace xc::log
