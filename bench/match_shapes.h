// match_shapes.h - patterns with their subjects, for the rows of the matcher and of its peers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

namespace match_bench {

/// The text repeated up to n units, cut at a place where it still matches when `unit` divides n.
inline std::wstring Repeat(std::wstring const& piece, std::size_t n)
{
    std::wstring text;
    while (text.size() + piece.size() <= n) text += piece;
    return text.empty() ? piece.substr(0, n) : text;
}

/// Letters a and b without a period worth remembering.
inline std::wstring Scattered(std::size_t n)
{
    std::wstring text;
    for (std::uint32_t bits = 1; text.size() < n; bits = bits * 1664525 + 1013904223)
        text += (bits & 0x80000000) != 0 ? L'a' : L'b';
    return text;
}

struct Shape {
    char const* name;
    wchar_t const* pattern;
    std::wstring (*subject)(std::size_t n);
};

inline std::wstring Digits(std::size_t n)
{
    return Repeat(L"2024-06-07", std::max<std::size_t>(n, 10)).substr(0, 10);
}
inline std::wstring Email(std::size_t n)
{
    return std::wstring(n > 16 ? n - 16 : 0, L'a') + L".b@example.com";
}
inline constexpr wchar_t const* kWords =
    L"(alpha|bravo|charlie|delta|echo|foxtrot|golf|hotel|india|juliett|kilo|lima|mike|"
    L"november|oscar|papa|quebec|romeo|sierra|tango)";

inline Shape const kShapes[] = {
    {"identifier", L"[a-z0-9_]+", [](std::size_t n) { return Repeat(L"some_name_42_and_", n); }},
    {"cyrillic", L"[\x0410-\x044F]+", [](std::size_t n) { return Repeat(L"\x043F\x0440\x0438\x0432\x0435\x0442", n); }},
    {"kanji", L"[\x4E00-\x9FFF]+", [](std::size_t n) { return Repeat(L"\x6F22\x5B57\x4EEE\x540D", n); }},
    {"needle_absent", L".*needle.*", [](std::size_t n) { return Repeat(L"the need for hay and more hay ", n); }},
    {"needle_late", L".*needle.*",
     [](std::size_t n) { return Repeat(L"the need for hay and more hay ", n - 6) + L"needle"; }},
    {"three_needles", L".*red.*green.*blue.*",
     [](std::size_t n) { return L"red" + Repeat(L"some grey text ", n - 12) + L"greenblue"; }},
    {"everything", L".*", [](std::size_t n) { return Repeat(L"whatever it holds ", n); }},
    {"extension", L".*\\.txt", [](std::size_t n) { return Repeat(L"folder/name.", n - 4) + L".txt"; }},
    {"literal", L"the literal text of fifty units, no more and no less",
     [](std::size_t) { return std::wstring(L"the literal text of fifty units, no more and no less"); }},
    {"ab_c", L"(a|b)*c", [](std::size_t n) { return Repeat(L"abba", n - 1) + L"c"; }},
    {"csv", L"([0-9]+,[a-z ]*,(\"[^\"]*\")?\n)+", [](std::size_t n) { return Repeat(L"17,abc d,\"x\"\n", n); }},
    {"words",
     L"((alpha|bravo|charlie|delta|echo|foxtrot|golf|hotel|india|juliett|kilo|lima|mike|november|oscar|papa|"
     L"quebec|romeo|sierra|tango) )+",
     [](std::size_t n) { return Repeat(L"golf tango echo november kilo mike alpha juliett ", n); }},
    {"states_1024", L"(a|b)*a(a|b){9}", [](std::size_t n) { return Repeat(L"abaabbab", n); }},
    {"negated_mixed", L"[^a-z0-9;]+", [](std::size_t n) { return Repeat(L"\x041F\x0440 \x6F22 \x00C9! ", n); }},
    {"log_lines",
     L"([0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} (INFO|WARN|ERROR) [a-z.]+ \\[[0-9]+\\] [^\n]*\n)+",
     [](std::size_t n) {
         return Repeat(L"2024-06-07 12:34:56 INFO net.io [4711] connection accepted from peer\n", n);
     }},
};

/// Log text of n units.
inline std::wstring LogText(std::size_t n)
{
    return Repeat(L"2024-06-07 12:34:56 INFO net.io [4711] connection from peer 10.11.12.13 dur=17ms\n", n);
}

/// A list of made words.
inline std::wstring MadeWords(std::size_t count)
{
    std::wstring list;
    std::uint32_t bits = 1;
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) list += L'|';
        for (std::size_t letters = 4 + i % 9; letters > 0; --letters) {
            bits = bits * 1664525 + 1013904223;
            list += static_cast<wchar_t>(L'a' + (bits >> 16) % 26);
        }
    }
    return list;
}

/// Log text is searched in vain.
inline Shape const kSearches[] = {
    {"three_words", L".*(ERROR|FATAL|PANIC).*", LogText},
    {"ten_words", L".*(alpha|bravo|charlie|delta|echo|foxtrot|golf|hotel|india|juliett).*", LogText},
    {"duration", L".*dur=[0-9]{4,9}ms.*", LogText},
    {"email_without_at", L"[a-zA-Z0-9._]+@[a-zA-Z0-9.]+\\.[a-z]{2,4}",
     [](std::size_t n) { return std::wstring(n, L'a'); }},
    {"refused_at_last_unit", L"[a-z0-9_]+", [](std::size_t n) { return std::wstring(n - 1, L'a') + L"!"; }},
};

/// Subjects of fixed size: one call each.
inline Shape const kCalls[] = {
    {"date", L"[0-9]{4}-[0-9]{2}-[0-9]{2}", Digits},
    {"email_40", L"[a-zA-Z0-9._]+@[a-zA-Z0-9.]+\\.[a-z]{2,4}", Email},
    {"log_line_131", L"[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} (INFO|WARN|ERROR) [a-z.]+ \\[[0-9]+\\] .*",
     [](std::size_t) {
         return std::wstring(L"2024-06-07 12:34:56 INFO net.io [4711] connection accepted from peer 10.11.12.13 port "
                             L"4711 after 3 attempts and 17 milliseconds");
     }},
    {"word_of_20", kWords, [](std::size_t) { return std::wstring(L"november"); }},
    {"refused_first", L"[a-z]+=[0-9]+", [](std::size_t) { return std::wstring(L"#comment line"); }},
    {"backtracking", L"(a+)+b", [](std::size_t) { return std::wstring(27, L'a'); }},
};

} // namespace match_bench
