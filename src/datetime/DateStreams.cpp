// The stream operators of the value classes. A value is read word by word; the blank inside "2009/07/04 03:05:09"
// belongs to it when a digit follows. A text that is no value sets the fail bit of the stream, as for numbers.
//
// The values are read through their own FromString, so a stream accepts exactly the texts that the call accepts, and
// in the same forms. What the operators add is where a value ends: a stream has no end of text, only blanks, and the
// form for dates with times contains one. One unit of lookahead settles it, since a time starts with a digit; the
// blank is taken only after a "/" has shown that a date came before. A duration that no count holds throws from
// FromString: here it is a text like any other that did not fit, so it ends in the fail bit too.
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCException.h>

#include "text/Units.h"

#include <istream>
#include <ostream>
#include <string>

namespace xc::datetime {

namespace {

/// The next word, with a second one after a single blank when that starts with a digit and `andTime` asks for it.
XCString ReadWords(std::wistream& in, bool andTime)
{
    std::wstring word;
    in >> word;
    // Only good(): a word that ended with the text must not turn the end of the stream into a failure by looking
    // further.
    if (andTime && in.good() && word.find(L'/') != std::wstring::npos && in.peek() == L' ') {
        in.get();
        auto const next = in.peek();
        std::wstring time;
        if (in.good() && xc::text::IsDigit(static_cast<wchar_t>(next)) && in >> time) word += L' ' + time;
    }
    return XCString(word);
}

template <class Value>
std::wistream& ReadValue(std::wistream& in, Value& value)
{
    XCString const word = ReadWords(in, false);
    if (in.fail() || !value.FromString(word)) in.setstate(std::ios_base::failbit);
    return in;
}

} // namespace

} // namespace xc::datetime

using namespace xc::datetime;

std::wostream& operator<<(std::wostream& out, XCDateEx const& value)
{
    return out << value.AsString();
}

std::wostream& operator<<(std::wostream& out, XCTimeEx const& value)
{
    return out << value.AsString();
}

std::wostream& operator<<(std::wostream& out, XCDateTimeEx const& value)
{
    return out << value.AsString();
}

std::wostream& operator<<(std::wostream& out, XCDurationEx const& value)
{
    // Without words for the unit: what is written here must be readable by the operator below.
    return out << value.AsString(false);
}

std::wistream& operator>>(std::wistream& in, XCDateEx& value)
{
    return ReadValue(in, value);
}

std::wistream& operator>>(std::wistream& in, XCTimeEx& value)
{
    return ReadValue(in, value);
}

std::wistream& operator>>(std::wistream& in, XCDateTimeEx& value)
{
    // Without a word the value keeps what it held, as numbers do on a stream that has failed already.
    XCString const words = ReadWords(in, true);
    if (in.fail() || value.FromString(words).Bad()) in.setstate(std::ios_base::failbit);
    return in;
}

std::wistream& operator>>(std::wistream& in, XCDurationEx& value)
try {
    return ReadValue(in, value);
} catch (XCDurationExceptionEx const&) {
    in.setstate(std::ios_base::failbit);
    return in;
}
