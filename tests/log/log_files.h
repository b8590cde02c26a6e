// Files of the log tests: whole contents in, whole contents out.
#pragma once

#include "prelude.h"
#include "scratch_files.h"

namespace log_test {

using xc_test::ReadFile;
using xc_test::ScratchFile;

/// The lines of a text, each without its line feed; a last piece without one comes with "(cut)" added.
inline std::vector<std::string> Lines(std::string const& bytes)
{
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < bytes.size();) {
        std::size_t const end = bytes.find('\n', at);
        lines.push_back(end == std::string::npos ? bytes.substr(at) + "(cut)" : bytes.substr(at, end - at));
        at = end == std::string::npos ? bytes.size() : end + 1;
    }
    return lines;
}

/// Every digit as '0', so that times and identifiers compare.
inline std::string Digitless(std::string text)
{
    for (char& c : text)
        if (c >= '0' && c <= '9') c = '0';
    return text;
}

/// A text without its digits' runs: "<123>" and "<4>" both become "<0>".
inline std::string Collapsed(std::string const& text)
{
    std::string const zeros = Digitless(text);
    std::string result;
    for (char const c : zeros)
        if (c != '0' || result.empty() || result.back() != '0') result.push_back(c);
    return result;
}

/// Whether writer w's records "w:n" (n from 0) each stand there once, whole and in order.
inline ::testing::AssertionResult AllWhole(std::string const& bytes, int writers, int records)
{
    std::vector<int> next(static_cast<std::size_t>(writers), 0);
    for (std::string const& line : Lines(bytes)) {
        int writer = 0;
        int number = 0;
        int length = 0;
        if (std::sscanf(line.c_str(), "<%d:%d:abcdefghijklmnopqrstuvwxyz>%n", &writer, &number, &length) != 2 ||
            static_cast<std::size_t>(length) != line.size() || writer < 0 || writer >= writers)
            return ::testing::AssertionFailure() << "torn: " << line;
        int& expected = next[static_cast<std::size_t>(writer)];
        if (number != expected++) return ::testing::AssertionFailure() << "out of order: " << line;
    }
    bool const all = std::all_of(next.begin(), next.end(), [&](int n) { return n == records; });
    return all ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << "records are missing";
}

inline XCString WholeRecord(int writer, int number)
{
    std::string const text =
        "<" + std::to_string(writer) + ":" + std::to_string(number) + ":abcdefghijklmnopqrstuvwxyz>\n";
    return XCString(std::wstring(text.begin(), text.end()));
}

} // namespace log_test
