// A stream that passes every unit on to two others at once.
//
// Nothing is buffered here: what reaches one target reaches the other before the next unit, so that the two never
// differ by more than one unit when the program stops. A target that fails is passed over from then on, by its own
// state; the writer and the other target do not notice. A line feed flushes both.
#include <XelbrinCore/XCLogFile.h>

namespace {

/// A target whose owner asked for exceptions keeps neither the text from the other target nor the writer from going on.
template <class Call>
void ForEachGood(std::wostream* const (&targets)[2], Call const& call) noexcept
{
    for (std::wostream* const target : targets) {
        try {
            if (target && target->good()) call(*target);
        } catch (...) { // its state tells
        }
    }
}

} // namespace

XCDualLogStreamBuf::XCDualLogStreamBuf(std::wostream* first, std::wostream* second) noexcept : m_targets{first, second}
{
}

XCDualLogStreamBuf::~XCDualLogStreamBuf() = default;

bool XCDualLogStreamBuf::IsGood() const
{
    for (std::wostream const* const target : m_targets)
        if (target && !target->good()) return false;
    return true;
}

void XCDualLogStreamBuf::OnChar(wchar_t unit)
{
    ForEachGood(m_targets, [unit](std::wostream& target) { target.put(unit); });
}

void XCDualLogStreamBuf::OnEOL()
{
    ForEachGood(m_targets, [](std::wostream& target) { target.flush(); });
}

XCDualLogStreamBuf::int_type XCDualLogStreamBuf::overflow(int_type unit)
{
    if (traits_type::eq_int_type(unit, traits_type::eof())) return traits_type::not_eof(unit);
    PassOn(traits_type::to_char_type(unit));
    return unit;
}

std::streamsize XCDualLogStreamBuf::xsputn(wchar_t const* text, std::streamsize count)
{
    for (std::streamsize i = 0; i < count; ++i) PassOn(text[i]);
    return count;
}

void XCDualLogStreamBuf::PassOn(wchar_t unit)
{
    OnChar(unit);
    if (unit == L'\n') OnEOL();
}

int XCDualLogStreamBuf::sync()
{
    ForEachGood(m_targets, [](std::wostream& target) { target.flush(); });
    return 0;
}

XCDualLogStream::XCDualLogStream(std::wostream* first, std::wostream* second)
    : std::wostream(nullptr), m_buffer(first, second)
{
    rdbuf(&m_buffer);
}

XCDualLogStream::~XCDualLogStream() = default;
