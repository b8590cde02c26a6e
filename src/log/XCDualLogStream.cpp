#include <XelbrinCore/XCLogFile.h>

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
    for (std::wostream* const target : m_targets)
        if (target && target->good()) target->put(unit);
}

void XCDualLogStreamBuf::OnEOL()
{
    for (std::wostream* const target : m_targets)
        if (target && target->good()) target->flush();
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
    for (std::wostream* const target : m_targets)
        if (target && target->good()) target->flush();
    return 0;
}

XCDualLogStream::XCDualLogStream(std::wostream* first, std::wostream* second)
    : std::wostream(nullptr), m_buffer(first, second)
{
    rdbuf(&m_buffer);
}

XCDualLogStream::~XCDualLogStream() = default;
