// XCStringValue.h - a UTF-16 string value that copies on write.
//
// WHAT     A sequence of UTF-16 code units, always NUL-terminated. Every length and position counts code units: never
//          bytes, never characters. Unpaired surrogates are kept as they are.
// SHAPE    One pointer to a counted block (XCStringStorage.h, which also has the members that read).
// COST     Copying: one atomic increment, whatever the length. First change of a shared string: O(n), one allocation.
//          Appending n units one by one: O(n) in total, the capacity grows by half.
// LIFETIME What AsWChar() returns lives until the next change of this object or its end.
// ALIASING Any text argument may point into the string that is being changed.
// NUL      Units are kept by count, so a string may hold U+0000; operations that are defined on NUL-terminated texts
//          (Compare, Replace, the number readers) stop at the first one, and say so.
// ERRORS   A position past the end is no error: searches answer npos, SubStr an empty string. A length above
//          4,294,967,293 units: std::length_error. No memory: std::bad_alloc. A call that throws changes nothing.
// THREADS  Any threads may read one object; two objects never interfere, even when they share a block. Changing an
//          object that another thread uses needs the callers' own lock.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCFormatArg.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCStringNumbers.h>

#include <compare>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

class XCCollator;
class XCDateEx;
class XCDateTime;
class XCDateTimeEx;
class XCDurationEx;
class XCErrorID;
class XCStringConverter;
class XCTimeEx;

/// A UTF-16 text value with shared storage (see the head of this file).
class XC_API XCString : public XCStringNumbers {
public:
    // Construction, assignment, release -------------------------------------------------------------------------

    XCString() noexcept = default;
    /// Copies the text and keeps one spare unit; null or "" gives the empty block.
    XCString(wchar_t const* text);
    /// A string of one unit (U+0000 included).
    explicit XCString(wchar_t unit);
    /// `count` times `unit`. @param reserve the least capacity to allocate.
    XCString(wchar_t unit, std::size_t count, std::size_t reserve = 0);
    /// Copies the text.
    XCString(std::wstring const& text);
    /// Copies the text; units of value 0 inside are kept.
    explicit XCString(std::wstring_view text);
    XCString(XCString const& other) noexcept = default;
    XCString(XCString&& other) noexcept = default;
    ~XCString() = default;
    XCString& operator=(XCString const& other) noexcept = default;
    XCString& operator=(XCString&& other) noexcept = default;
    /// Replaces the text; null gives the empty text.
    XCString& operator=(wchar_t const* text);
    /// Replaces the text by one unit.
    XCString& operator=(wchar_t unit);
    /// A number is no text: say `XCString().Format(L"%d", number)`, or static_cast<wchar_t> for a unit.
    template <xc::text::PlainInteger N>
    XCString& operator=(N) = delete;
    /// Shares the other's text.
    XCString& Assign(XCString const& other) noexcept { return *this = other; }
    /// Copies `count` units (no terminator is looked for). @param text null counts as empty.
    /// @param reserve the least capacity to have afterwards.
    XCString& Assign(wchar_t const* text, std::size_t count, std::size_t reserve = 0);
    XCString& Assign(std::wstring_view text) { return Assign(text.data(), text.size()); }
    XCString& Assign(std::wstring const& text) { return Assign(text.data(), text.size()); }
    XCString& Assign(wchar_t const* text) { return *this = text; }
    /// Exchanges the texts. Never fails.
    void Swap(XCString& other) noexcept { std::swap(m_data, other.m_data); }
    /// Releases the storage; the string is empty.
    void Clear() noexcept { Drop(); }
    /// Makes sure of room for n units in storage of its own.
    void Reserve(std::size_t n);

    // Changing --------------------------------------------------------------------------------------------------

    /// Writes one unit; past the end nothing happens.
    void Set(std::size_t pos, wchar_t unit);
    /// Adds at the end. @param count 0 means up to the terminator; null with count 0 changes nothing.
    XCString& Append(wchar_t const* text, std::size_t count = 0)
    {
        if (!XC_IS_CONSTANT(count) || count == 0 || count > 32 || !HasRoomFor(text, count))
            return AppendAny(text, count);
        DataDef* const data = m_data;
        // The compiler knows the count: a few moves instead of a call.
        std::memcpy(data->Text() + data->length, text, count * sizeof(wchar_t));
        data->length += static_cast<std::uint32_t>(count);
        data->Text()[data->length] = L'\0';
        return *this;
    }
    XCString& Append(XCString const& text);
    XCString& Append(std::wstring_view text);
    XCString& Append(std::wstring const& text) { return Append(std::wstring_view(text)); }
    /// Appends; see Append.
    XCString& operator+=(XCString const& text) { return Append(text); }
    XCString& operator+=(wchar_t const* text) { return Append(text, 0); }
    template <xc::text::PlainInteger N>
    XCString& operator+=(N) = delete;
    XCString& operator+=(wchar_t unit)
    {
        std::size_t const length = m_data->length;
        if (length + 2 > m_data->capacity || IsShared()) return AppendUnit(unit);
        m_data->Text()[length] = unit;
        m_data->Text()[length + 1] = L'\0';
        m_data->length = static_cast<std::uint32_t>(length + 1);
        return *this;
    }
    /// Inserts before pos; a pos past the end appends. A null text changes nothing.
    XCString& Insert(std::size_t pos, wchar_t const* text);
    XCString& Insert(std::size_t pos, XCString const& text);
    XCString& Insert(std::size_t pos, wchar_t unit);
    template <xc::text::StandardText T>
    XCString& Insert(std::size_t pos, T const& text)
    {
        return InsertUnits(pos, text.data(), text.size());
    }
    /// Removes `count` units from pos on, or all that follow when there are fewer.
    XCString& Remove(std::size_t pos, std::size_t count);
    /// A new string of at most `count` units from pos on; the whole text is shared, not copied.
    [[nodiscard]] XCString SubStr(std::size_t pos, std::size_t count = npos) const;
    /// Replaces every `oldText` by `newText`, left to right; inserted text is not searched again.
    /// "aaa", "a" -> "aa" gives "aaaaaa"; "a--b", "--" -> null gives "ab".
    /// The scan ends at the terminator, and so at a U+0000 inside the text.
    /// @param oldText null or empty changes nothing.   @param newText null removes the occurrences.
    /// Cost: one pass to count, at most one allocation, one pass to build; without a hit the block stays shared.
    XCString& Replace(wchar_t const* oldText, wchar_t const* newText);
    XCString& Replace(XCString const& oldText, XCString const& newText);
    template <class Old, class New>
    requires xc::text::StandardText<Old> || xc::text::StandardText<New> XCString& Replace(Old const& oldText,
                                                                                          New const& newText)
    {
        return ReplaceUnits(xc::text::UpToZero(oldText), xc::text::UpToZero(newText));
    }
    /// Maps every unit through XCtowupper, XCtowlower.
    XCString& Upper();
    /// The same into lower case.
    XCString& Lower();
    /// Steps over units equal to `unit` from min(pos, length - 1) on and removes everything before the place reached:
    /// with pos 0 leading units, with a larger pos also the pos units before. A run up to the end leaves the string
    /// empty but in its own storage.
    XCString& LTrim(wchar_t unit, std::size_t pos = 0);
    /// Steps over units of the set from pos on and removes everything before the first other unit; pos at or past the
    /// end, or nothing but units of the set, empties the string. An empty set changes nothing.
    XCString& LTrim(wchar_t const* set, std::size_t pos = 0) { return TrimLeft(xc::text::UpToZero(set), pos); }
    XCString& LTrim(std::wstring_view set, std::size_t pos = 0) { return TrimLeft(xc::text::UpToZero(set), pos); }
    /// Counts the run of `unit` that ends at min(pos, length - 1) and cuts that many units off the *end* of the text.
    /// A text that is all `unit` becomes empty.
    XCString& RTrim(wchar_t unit, std::size_t pos = npos);
    /// Cuts right after the last unit at or before pos that is not in the set, whatever follows pos. When there is
    /// none the string becomes empty. An empty set changes nothing.
    XCString& RTrim(wchar_t const* set, std::size_t pos = npos) { return TrimRight(xc::text::UpToZero(set), pos); }
    XCString& RTrim(std::wstring_view set, std::size_t pos = npos) { return TrimRight(xc::text::UpToZero(set), pos); }

    // Comparing; searching and Compare are members of XCStringSearch.h -------------------------------------------

    friend bool operator==(XCString const& a, XCString const& b) { return a.m_data == b.m_data || a.Compare(b) == 0; }
    friend bool operator==(XCString const& a, wchar_t const* b) { return a.Compare(b) == 0; }
    friend std::weak_ordering operator<=>(XCString const& a, XCString const& b) { return a.Compare(b) <=> 0; }
    friend std::weak_ordering operator<=>(XCString const& a, wchar_t const* b) { return a.Compare(b) <=> 0; }
    template <xc::text::StandardText T>
    friend bool operator==(XCString const& a, T const& b)
    {
        return a.Compare(b) == 0;
    }
    template <xc::text::StandardText T>
    friend std::weak_ordering operator<=>(XCString const& a, T const& b)
    {
        return a.Compare(b) <=> 0;
    }

    // Dates and durations; numbers are read by the calls of XCStringNumbers.h -----------------------------------

    /// Parsed by the value classes of XCDateTime.h and XCOldDateTime.h, in their default formats.
    XCDurationEx AsXCDurationEx(bool* ok = nullptr) const;
    /// Read by XCDateEx in its default format.
    XCDateEx AsXCDateEx(bool* ok = nullptr) const;
    /// Read by XCTimeEx in its default format.
    XCTimeEx AsXCTimeEx(bool* ok = nullptr) const;
    /// Read by XCDateTime in its default format.
    XCDateTime AsXCDateTime(bool* ok = nullptr) const;
    /// Read by XCDateTimeEx in its default format.
    XCDateTimeEx AsXCDateTimeEx(bool* ok = nullptr) const;

    // Multibyte text (XCStringConverter.h) ----------------------------------------------------------------------

    /// The text in a code page of the system (0: its ANSI code page). Conversion is strict: text that the code page
    /// cannot hold gives "" and a Bad error that says where.
    std::string AsMbString(unsigned int codePage = 0, XCErrorID* error = nullptr) const;
    std::string AsMbString(XCSmartPtr<XCStringConverter> const& converter, XCErrorID* error = nullptr) const;
    /// Unpaired surrogates cannot be converted.
    std::string AsUTF8(XCErrorID* error = nullptr) const;
    /// Reads UTF-8; malformed input is Bad and leaves the string as it was.
    XCErrorID SetFromUTF8(std::string const& text);
    /// Reads `text` through the converter into this string; on failure the string stays as it was.
    XCErrorID ConvertToUnicode(char const* text, XCSmartPtr<XCStringConverter> const& converter);
    static XCErrorID ConvertToUnicode(XCString& result, char const* text,
                                      XCSmartPtr<XCStringConverter> const& converter);
    /// Writes the text in the encoding of the converter.
    XCErrorID ConvertFromUnicode(std::string& result, XCSmartPtr<XCStringConverter> const& converter) const;

    // Formatting ------------------------------------------------------------------------------------------------

    /// printf-style formatting; the result replaces the text. %s is wide and %S narrow text, %hs narrow and %ls wide,
    /// %I64d a 64-bit integer; a null text prints "(null)". Numbers are written in the invariant way. The format and
    /// its arguments may point into this string. Text outside conversions is printed as it stands; %n writes nothing.
    /// @throws std::length_error when widths, precisions and texts add up to more than a string holds.
    /// Arguments are carried with their types (XCFormatArg.h): XCString and views need no AsWChar(), and a value that does
    /// not fit its conversion prints its own text.
    template <class... Arguments>
    XCString& Format(wchar_t const* format, Arguments const&... arguments)
    {
        return xc::text::WithFormatArgs(
            [&](XCFormatArgs const& list) -> XCString& { return FormatArguments(format, list); },
            xc::text::Carry(arguments)...);
    }
    /// The same with the arguments of another function.
    /// @note va_list is char* on Windows: pass a char* that directly follows the format as char const*. A char[], or
    ///       the literal 0, is never taken for a va_list: that is why this is a template there.
#if defined(_WIN32)
    template <class List>
    requires std::is_same_v < std::remove_cvref_t<List>,
    char* > XCString& Format(wchar_t const* format, List&& arguments)
    {
        return FormatArguments(format, arguments);
    }
#else
    XCString& Format(wchar_t const* format, va_list arguments)
    {
        return FormatArguments(format, arguments);
    }
#endif

    // Enciphering -----------------------------------------------------------------------------------------------

    /// Turns the text into an enciphered printable form that ends in cryptSuffix: AES-256 with authentication, the
    /// key derived from the seed, a fresh nonce each time. The default seed only hides text from casual eyes.
    /// False, and the string as it was: already enciphered, or the system offers no cryptography.
    bool Encrypt(XCString const& seed = cryptDefaultSeed);
    /// The way back. False, and the string as it was: not enciphered, altered, or another seed.
    bool Decrypt(XCString const& seed = cryptDefaultSeed);
    /// Whether the text has the form that Encrypt gives.
    [[nodiscard]] bool IsEncrypted() const;
    /// The seed of Encrypt and Decrypt when none is given; everybody who has the library knows it.
    static XCString const cryptDefaultSeed;
    static XCString const cryptSuffix; ///< The end of every enciphered text.

private:
    struct ConstantBlock {};
    constexpr XCString(ConstantBlock, DataDef* data) noexcept : XCStringNumbers(data) {}
    void ResizeCapacity(std::size_t n);
    void SetLength(std::size_t n) noexcept;
    [[nodiscard]] bool Owns(wchar_t const* text) const noexcept;
    XCString& AppendUnit(wchar_t unit);
    /// Whether `count` units of a text and the terminator can be written after the string.
    [[nodiscard]] bool HasRoomFor(wchar_t const* text, std::size_t count) const noexcept
    {
        // Less, not equal: the terminator needs a place, too. A text of our own lies before the place, so the two never
        // overlap; unless it takes the terminator with it.
        return text && count < m_data->capacity - m_data->length &&
               text + count != m_data->Text() + m_data->length + 1 && !IsShared();
    }
    XCString& AppendAny(wchar_t const* text, std::size_t count);
    XCString& AppendUnits(wchar_t const* text, std::size_t count);
    void AppendInNewBlock(wchar_t const* text, std::size_t count);
    XCString& InsertUnits(std::size_t pos, wchar_t const* text, std::size_t count);
    XCString& ReplaceUnits(std::wstring_view oldText, std::wstring_view newText);
    XCString& RemoveFront(std::size_t count);
    XCString& TrimLeft(std::wstring_view set, std::size_t pos);
    XCString& TrimRight(std::wstring_view set, std::size_t pos);
    XCString& CutTo(std::size_t length);
    void CopyOwn(std::size_t pos, std::size_t count);
    XCString& FormatArguments(wchar_t const* format, va_list arguments);
    XCString& FormatArguments(wchar_t const* format, XCFormatArgs const& arguments);
    friend struct xc::text::StringAccess;
};
