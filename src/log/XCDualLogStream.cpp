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
    wchar_t const one = traits_type::to_char_type(unit);
    OnChar(one);
    if (one == L'\n') OnEOL();
    return unit;
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
