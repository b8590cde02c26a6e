// EncodedText.h - the text of a file as the bytes on disk, and back.
#pragma once

#include <XelbrinCore/XCStringConverter.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace xc::encoding {

/// Text whose units were not set to anything before they were written.
class UnitBuffer {
public:
    explicit UnitBuffer(std::size_t capacity) : m_units(std::make_unique_for_overwrite<wchar_t[]>(capacity)) {}
    [[nodiscard]] wchar_t* Units() noexcept { return m_units.get(); }
    void SetLength(std::size_t length) noexcept { m_length = length; }
    [[nodiscard]] std::wstring_view View() const noexcept { return {m_units.get(), m_length}; }
    [[nodiscard]] std::unique_ptr<wchar_t[]> Release() noexcept { return std::move(m_units); }

private:
    std::unique_ptr<wchar_t[]> m_units;
    std::size_t m_length = 0;
};

/// The text of a file and the encoding it came with: told by the byte order mark; without one UTF-8, or the ANSI code
/// page where the bytes are no UTF-8. Nothing when the bytes are no text in that encoding. Unpaired surrogates of
/// UTF-16 are kept.
std::optional<UnitBuffer> DecodeText(std::string_view bytes, XCTextEncoding& encoding);

/// The text before the first byte that is no text, of bytes that DecodeText has refused in this encoding.
UnitBuffer DecodeStart(std::string_view bytes, XCTextEncoding encoding);

/// A part of a text without its mark, such as a line. Bad (XCErrMalformedText), and the text as it was, when the bytes are
/// no text in the encoding. Storage of `text` that nobody shares is used again.
XCErrorID DecodePart(XCString& text, std::string_view bytes, XCTextEncoding encoding);

/// The encoding whose mark the bytes begin with; nothing when they begin with none.
std::optional<XCTextEncoding> MarkedEncoding(std::string_view bytes) noexcept;

/// The byte order mark with which a file in that encoding begins; none for some.
std::string_view ByteOrderMark(XCTextEncoding encoding) noexcept;

/// Appends the text, which ends with a whole character. Bad when the encoding cannot hold it.
XCErrorID AppendEncoded(std::string& bytes, std::wstring_view text, XCTextEncoding encoding);

} // namespace xc::encoding
