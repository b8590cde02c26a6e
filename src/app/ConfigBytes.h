// ConfigBytes.h - the text of a configuration file as the bytes on disk, and back.
#pragma once

#include <XelbrinCore/XCConfig.h>

#include <optional>
#include <string>
#include <string_view>

namespace xc::app {

/// Text whose units were not set to anything before they were written.
class UnitBuffer {
public:
    explicit UnitBuffer(std::size_t capacity) : m_units(std::make_unique_for_overwrite<wchar_t[]>(capacity)) {}
    [[nodiscard]] wchar_t* Units() noexcept { return m_units.get(); }
    void SetLength(std::size_t length) noexcept { m_length = length; }
    [[nodiscard]] std::wstring_view View() const noexcept { return {m_units.get(), m_length}; }

private:
    std::unique_ptr<wchar_t[]> m_units;
    std::size_t m_length = 0;
};

/// The text of a file and the encoding it came with: told by the byte order mark; without one UTF-8, or the ANSI code
/// page where the bytes are no UTF-8. Nothing when the bytes are no text in that encoding. Unpaired surrogates of
/// UTF-16 are kept.
std::optional<UnitBuffer> DecodeConfig(std::string_view bytes, XCConfigFile::Encoding& encoding);

/// The bytes of a text with the byte order mark of the encoding. Bad when the encoding cannot hold the text.
XCErrorID EncodeConfig(std::string& bytes, std::wstring_view text, XCConfigFile::Encoding encoding);

} // namespace xc::app
