// Message files: whatever the bytes, what counts can be read, faults lie within the file, and no checked translation asks
// for a value that its original does not ask for.
#include "input.h"

#include "text/PrintFormat.h"

/// Spells the requests of a format, sizes and letters as they came, but for what means the same.
struct Requests final : xc::text::FormatSource {
    xc::text::FormatValue Next(xc::text::Conversion const& wanted) override
    {
        auto const among = [&](char const* letters) {
            return std::strchr(letters, static_cast<char>(wanted.letter)) != nullptr;
        };
        using xc::text::FormatSize;
        bool const wide = wanted.size != FormatSize::Short && (wanted.size == FormatSize::Long || among("sc"));
        spelled += among("sS") ? wide ? 's' : 'S' : among("cC*diuoxX") ? 'i' : among("pn") ? 'p' : 'f';
        if (among("diuoxX") && wanted.size == FormatSize::Bits64) spelled += '8';
        return {};
    }
    std::string spelled;
};

std::string RequestsOf(XCString const& text)
{
    Requests requests;
    xc::text::FormatPlan const plan(text.AsWChar(), requests, xc::text::kFormatLimitOfData);
    return requests.spelled;
}

void RequireFaults(std::vector<XCLineFault> const& faults, std::string_view bytes)
{
    auto const lines = static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n')) + 1;
    for (XCLineFault const& fault : faults) {
        Require(fault.line <= lines && fault.column <= bytes.size() + 1 && !fault.reason.IsNull());
        (void)fault.AsString();
    }
}

void Fuzz(std::uint8_t const* data, std::size_t size)
{
    // Two files, parted by a line of three dashes.
    std::string_view const bytes(reinterpret_cast<char const*>(data), size);
    std::size_t const split = std::min(bytes.find("\n---\n"), bytes.size());
    std::string_view const second = bytes.substr(std::min(split + 5, bytes.size()));
    XCMessageLibraryFile original;
    XCMessageLibraryFile translation;
    bool const both = original.Read(bytes.substr(0, split), XCString(L"original")).Good() &
                      translation.Read(second, XCString(L"translation")).Good();
    RequireFaults(original.GetFaults(), bytes.substr(0, split));
    XCString text;
    XCString model;
    long last = -2147483647L - 1;
    for (long const code : original.GetCodes()) {
        Require(code >= last && original.Find(text, code) && original.GetLine(code) > 1);
        Require(text.View().find(L'\0') == std::wstring_view::npos);
        last = code;
    }
    if (both) {
        (void)translation.Check(original);
        for (long const code : translation.GetCodes()) {
            bool const found = translation.Find(text, code);
            Require(found == original.Find(model, code));
            Require(!found || RequestsOf(text) == RequestsOf(model));
        }
        RequireFaults(translation.GetFaults(), second);
    }
}
