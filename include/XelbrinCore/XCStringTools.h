// XCStringTools.h - functions and switches around the string: joining, case of units, numbered places, tokens.
//
// WHAT     XCtowupper and XCtowlower map one unit, XCPrintf fills a pattern with numbered places, XCTokenizer splits a
//          text at separators.
// ERRORS   XCPrintf throws std::out_of_range for a place without an argument; no memory: std::bad_alloc.
// THREADS  The functions may be called by many threads at once; one tokenizer belongs to one thread.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCStringValue.h>

#include <cstddef>
#include <iosfwd>
#include <vector>

/// One unit in upper, lower case by the invariant one-to-one tables of the system. Never fails; O(1).
XC_API wchar_t XCtowupper(wchar_t unit) noexcept;
XC_API wchar_t XCtowlower(wchar_t unit) noexcept;

XC_API XCString operator+(XCString const& a, XCString const& b);
XC_API XCString operator+(XCString const& a, wchar_t const* b);
XC_API XCString operator+(wchar_t const* a, XCString const& b);
XC_API XCString operator+(XCString const& a, wchar_t b);
/// A number is no text.
template <xc::text::PlainInteger N>
XCString operator+(XCString const& a, N b) = delete;
template <xc::text::PlainInteger N>
XCString operator+(N a, XCString const& b) = delete;
/// A temporary on the left is extended in place.
XC_API XCString operator+(XCString&& a, XCString const& b);
XC_API XCString operator+(XCString&& a, wchar_t const* b);
XC_API XCString operator+(XCString&& a, wchar_t b);

/// Writes the text, with width, fill and adjustment of the stream.
XC_API std::wostream& operator<<(std::wostream& out, XCString const& text);

/// Fills the numbered places of a pattern: "%1:s and %0:s" takes the second and the first argument; "%s" is "%0:s" and
/// "%%" a percent sign. Letters: s, d, f the argument's text; u a count of seconds as a duration text; a, la, t, lt a
/// date-time in the local zone as "%x", "%B %d, %Y", "%H:%M:%S", "%X"; m a number with "%6.2f". A "%" that none of
/// these letters follows: the rest of the pattern is appended unchanged.
/// @throws std::out_of_range when a place names an argument that is not there.
XC_API XCString XCPrintf(XCString const& pattern, std::vector<XCString> const& arguments);

/// Splits a text at any unit of a set of separators; empty tokens between separators are delivered too when asked for.
/// Holds its own copy of the text (no copy of the units).
class XC_API XCTokenizer {
public:
    /// Whether nothing between two separators is a token.
    enum class EmptyTokens { Skip, Keep };

    /// Keeps the text. @param separators each of its units separates tokens.
    XCTokenizer(XCString text, XCString separators, EmptyTokens emptyTokens = EmptyTokens::Skip);
    /// The next token; false at the end (and `token` is then empty).
    bool GetNext(XCString& token);
    /// The rest of the text, which no call has delivered yet.
    [[nodiscard]] XCString GetRest() const { return m_text.SubStr(m_pos); }

private:
    XCString m_text;
    XCString m_separators;
    std::size_t m_pos = 0;
    EmptyTokens m_emptyTokens;
    bool m_done = false;
};

/// Process-wide switches kept for the programs that set them. The library allocates from the ordinary heap, creates its
/// objects itself and initialises its variables whatever they say.
extern XC_API bool XCUseFactory_;
extern XC_API bool XCUseMemoryPool_;
extern XC_API bool XCInitVar_;
