// MessageTable.h - the texts of one message file: a sorted array of codes over the bytes of the file.
#pragma once

#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCLineFault.h>

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace xc::encoding {

/// Faults of one kind that are kept; one more says that there are others.
inline constexpr std::size_t kMostFaults = 1000;
/// Larger files are refused.
inline constexpr std::size_t kMostFileBytes = (std::size_t{1} << 30) - 1;

/// Bytes that were not set to anything before they were written.
struct FileBytes {
    std::unique_ptr<char[]> bytes;
    std::size_t size = 0;

    [[nodiscard]] std::string_view View() const noexcept { return {bytes.get(), size}; }
};

/// What a text is made of, told while its lines are scanned; bits.
enum TextTraits : std::uint8_t {
    kTextHigh = 1,    ///< bytes beyond ASCII
    kTextEscaped = 2, ///< a backslash
    kTextPercent = 4, ///< a percent sign
    kTextControl = 8  ///< a control character other than a tab
};

/// One text as it stands in the bytes of the file.
struct MessageText {
    std::string_view bytes;
    std::uint8_t traits;
};

class MessageTable final : public XCRefCount {
public:
    /// Reads a file; the faults are appended. Bad when it cannot be read or is none of such a file.
    static XCErrorID Open(XCString const& path, XCSmartPtr<MessageTable>& table, std::vector<XCLineFault>& faults);
    static XCErrorID Read(FileBytes bytes, XCString const& name, XCSmartPtr<MessageTable>& table,
                          std::vector<XCLineFault>& faults);

    [[nodiscard]] XCString const& GetFile() const noexcept { return m_file; }
    [[nodiscard]] XCString const& GetLibrary() const noexcept { return m_library; }
    [[nodiscard]] XCString const& GetLanguage() const noexcept { return m_language; }
    [[nodiscard]] std::vector<std::int32_t> const& Codes() const noexcept { return m_codes; }

    /// The index of a code; npos when it is not there.
    [[nodiscard]] std::size_t Find(long code) const noexcept;
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);
    /// 0 to 3, as it stands before the text with this index.
    [[nodiscard]] unsigned int Severity(std::size_t index) const noexcept;
    /// The line in which the text with this index begins, counted from 1. Cost: one pass over the bytes before it.
    [[nodiscard]] std::size_t Line(std::size_t index) const noexcept;
    /// Writes the text of a code, that of the original where it was refused. False when there is none.
    bool Get(XCString& text, long code) const;
    /// Compares with the original, which is kept for the texts that are refused. Returns how many faults were found.
    std::size_t Check(XCSmartPtrToConst<MessageTable> original, std::vector<XCLineFault>& faults);

private:
    friend class MessageReader;
    MessageTable() noexcept = default;

    /// The text with this index: its end is looked for each time.
    [[nodiscard]] MessageText Text(std::size_t index) const noexcept;
    static void Decode(XCString& text, MessageText const& from);
    /// @param model the index of the code in the original.
    bool Fits(MessageTable const& original, std::size_t model, std::size_t index, XCString& reason) const;

    /// The two highest bits of a place, which no file is long enough for.
    static constexpr std::uint32_t kRefused = 0x80000000; ///< the translation does not fit its original
    static constexpr std::uint32_t kMayAsk = 0x40000000;  ///< it has percent signs or escapes
    static constexpr std::uint32_t kPlace = 0x3FFFFFFF;

    FileBytes m_bytes; ///< UTF-8
    std::vector<std::int32_t> m_codes;
    std::vector<std::uint32_t> m_places; ///< where the text of the code with the same index begins
    double m_scale = 0;                  ///< indices a code: where a code is expected
    XCString m_file;
    XCString m_library;
    XCString m_language;
    XCSmartPtrToConst<MessageTable> m_original;
};

} // namespace xc::encoding
