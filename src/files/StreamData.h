// StreamData.h - the buffers and the place of a file stream.
#pragma once

#include <XelbrinCore/XCFileStream.h>

#include <memory>
#include <string>
#include <string_view>

namespace xc::files {

inline constexpr std::size_t kStreamBuffer = 64 * 1024;

} // namespace xc::files

/// Bytes that were read ahead begin at `position`; bytes that wait to be written end there. Never both.
struct XCFileStream::Data {
    XCSmartPtr<XCFile> file;
    XCTextOptions options;
    XCTextEncoding encoding = XCTextEncoding::Utf8;
    std::uint64_t position = 0;
    std::uint64_t line = 0;
    std::unique_ptr<char[]> buffer;
    std::size_t start = 0, end = 0; ///< what was read ahead
    std::string held;               ///< what waits to be written
    std::string part;               ///< the front of a line that the buffer did not hold in full
    bool markWritten = false;       ///< or not to be written
    bool markSought = false;        ///< the beginning of the file was looked at

    void Take(XCSmartPtr<XCFile> newFile, XCTextOptions newOptions);
    [[nodiscard]] XCErrorID WhyNot() const;
    [[nodiscard]] std::string_view Ahead() const noexcept { return {buffer.get() + start, end - start}; }
    void Consume(std::size_t count) noexcept
    {
        start += count;
        position += count;
    }
    /// Reads ahead when nothing is left of it; nothing is there afterwards at the end of the file alone.
    XCErrorID Fill();
    /// Writes what is held; what could not be written stays held.
    XCErrorID Pass();
    /// Room for bytes: writes what is held when they would make it too much.
    XCErrorID MakeRoom(std::size_t size);
    /// After bytes were added to what is held.
    void Added(std::size_t size) noexcept;

    // Lines, in StreamLines.cpp
    /// Takes the encoding from the beginning of the file; passes over its mark when the place is there.
    XCErrorID FindMark();
    XCErrorID ReadLine(XCString& text, bool& got);
    /// The rest of the file, without a line end. @param from the place where the line begins.
    XCErrorID ReadLast(XCString& text, std::uint64_t from, bool tooLong, bool& got);
    XCErrorID Finish(XCString& text, std::string_view bytes, std::uint64_t from, bool tooLong, bool& got);
    XCErrorID Decode(XCString& text, std::string_view bytes, std::uint64_t from) const;
    XCErrorID TooLong() const;
    /// Adds the bytes of a text to what is held; a part of them when it fails.
    XCErrorID Encode(std::wstring_view text);
    XCErrorID PutText(std::wstring_view text, bool lineEnd);
};
