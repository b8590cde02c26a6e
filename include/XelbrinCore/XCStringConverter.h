// XCStringConverter.h - strict conversion between UTF-16 text and bytes in an encoding.
//
// WHAT     XCStringConverter is the interface; UTF-8, Latin-1, the code pages of the system and Japanese (code page
//          932) implement it. XCString's multibyte members use them.
// STRICT   Nothing is guessed. Malformed bytes, cut sequences, overlong forms, unpaired surrogates and characters that
//          the encoding cannot hold (also those that the system would replace by a look-alike) are errors that tell
//          the position: XCErrMalformedText, XCErrUnmappableUnit, XCErrUnknownCodePage. After a failure the target is
//          as it was.
// NUL      Texts and bytes are taken by count; U+0000 is the byte 0 and back.
// COST     UTF-8 and Latin-1: one pass to size, one to convert, in vector steps where the text is ASCII. Code pages: two
//          calls of the system each way, since every result is converted back and compared.
// THREADS  Converters do not change after construction; one object may be used by many threads.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

#include <string>
#include <string_view>

/// How a text stands in a file.
enum class XCTextEncoding {
    Utf8,         ///< UTF-8 without a byte order mark
    Utf8WithMark, ///< UTF-8 after a byte order mark
    Utf16LE,      ///< UTF-16, low byte first, after a byte order mark
    Utf16BE,      ///< UTF-16, high byte first, after a byte order mark
    Ansi          ///< the ANSI code page of the system
};

/// One encoding. Counted: create it with new and hold it by XCSmartPtr<XCStringConverter>.
class XC_API XCStringConverter : public XCRefCount {
public:
    ~XCStringConverter() override;
    /// Reads bytes as text.
    virtual XCErrorID ToUnicode(XCString& result, std::string_view bytes) const = 0;
    /// Writes text as bytes. `text` may be a view of anything but `result`.
    virtual XCErrorID FromUnicode(std::string& result, std::wstring_view text) const = 0;

protected:
    XCStringConverter() noexcept = default;
};

/// UTF-8 without byte-order mark: one at the start is text like any other (U+FEFF).
class XC_API XCUTF8Converter : public XCStringConverter {
public:
    XCUTF8Converter() noexcept;
    ~XCUTF8Converter() override;
    XCErrorID ToUnicode(XCString& result, std::string_view bytes) const override;
    XCErrorID FromUnicode(std::string& result, std::wstring_view text) const override;
};

/// ISO 8859-1: the byte is the unit, U+0000 to U+00FF. Every byte is text.
class XC_API XCLatin1Converter : public XCStringConverter {
public:
    XCLatin1Converter() noexcept;
    ~XCLatin1Converter() override;
    XCErrorID ToUnicode(XCString& result, std::string_view bytes) const override;
    XCErrorID FromUnicode(std::string& result, std::wstring_view text) const override;
};

/// A code page of the system. 65001 and 28591 are the two converters above; code pages that the system converts only
/// leniently (UTF-7, the ISO 2022 family) count as unknown.
class XC_API XCCodePageConverter : public XCStringConverter {
public:
    /// @param codePage its number; 0 is the ANSI code page of the system. An unknown one fails at each conversion.
    explicit XCCodePageConverter(unsigned int codePage = 0) noexcept;
    ~XCCodePageConverter() override;
    /// The number of the code page; never 0.
    [[nodiscard]] unsigned int GetCodePage() const noexcept { return m_codePage; }
    XCErrorID ToUnicode(XCString& result, std::string_view bytes) const override;
    XCErrorID FromUnicode(std::string& result, std::wstring_view text) const override;

private:
    unsigned int m_codePage;
};

/// Japanese: code page 932 (Shift JIS with the usual extensions).
class XC_API XCJapaneseConverter : public XCCodePageConverter {
public:
    XCJapaneseConverter() noexcept;
    ~XCJapaneseConverter() override;
};
