// StringAccess.h - the one back door into XCString's block, for code that writes a text in place.
#pragma once

#include <XelbrinCore/XCString.h>

#include <stdexcept>

namespace xc::text {

struct StringAccess {
    /// Whether n units can be written into the block as it stands: large enough, and nobody else sees it.
    static bool CanWrite(XCString const& text, std::size_t n) noexcept
    {
        return n <= text.m_data->capacity && !text.IsShared();
    }
    /// The units of a string that nobody shares.
    static wchar_t* Units(XCString& text) noexcept { return text.m_data->Text(); }
    /// Ends the text after n written units; an empty text goes back to the empty block.
    static void SetLength(XCString& text, std::size_t n) noexcept
    {
        if (n == 0)
            text.Clear();
        else
            text.SetLength(n);
    }
    /// Gives an empty text its first block, with the spare unit that a copied text has, and `count` units, at least one,
    /// of no particular value; returns the first of them.
    static wchar_t* Start(XCString& text, std::size_t count)
    {
        if (count > XCString::kMaxLength) throw std::length_error("XCString: text too long");
        auto* const data = XCString::Alloc(count + 1);
        data->length = static_cast<std::uint32_t>(count);
        data->Text()[count] = L'\0';
        text.m_data = data;
        return data->Text();
    }
    /// Makes the text longer by `count` units, at least one, of no particular value; returns the first of them.
    static wchar_t* Extend(XCString& text, std::size_t count)
    {
        std::size_t const length = text.Length();
        if (text.Capacity() == 0) return Start(text, count);
        if (count > XCString::kMaxLength - length) throw std::length_error("XCString: text too long");
        if (!CanWrite(text, length + count)) text.Reserve(length + count + 1);
        text.SetLength(length + count);
        return Units(text) + length;
    }
};

} // namespace xc::text
