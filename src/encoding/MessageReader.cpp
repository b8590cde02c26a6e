// Reading a message file into a table.
//
// The bytes are read whole and kept: mapping the file would keep translators from replacing it. Files in UTF-16 or a code
// page are written anew in UTF-8 first, line by line where a code page may fail, so that one reader serves all; what
// cannot be converted becomes a byte that no UTF-8 has, and is named with its line by that reader.
//
// Codes usually ascend. Only when they do not, or repeat, the indices are sorted, stably, so that the first line of a
// code is the one that counts; the later ones are named.
//
// A line that cannot be read is left out with its fault, a text with all of its continuations. Faults carry the place of
// the first byte that is wrong: lines are counted from the beginning of the entry, columns in UTF-16 units.
#include "encoding/EncodedText.h"
#include "encoding/MessageLine.h"
#include "encoding/MessageTable.h"
#include "errors/CoreError.h"
#include "text/NumberText.h"
#include "text/Utf8.h"
#include "win32/File.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <numeric>
#include <optional>

namespace xc::encoding {

namespace {

constexpr char kNoText = '\xFF'; // no byte of UTF-8
constexpr unsigned int kUtf8CodePage = 65001;

FileBytes Owned(std::string_view bytes)
{
    FileBytes owned{std::make_unique_for_overwrite<char[]>(bytes.size()), bytes.size()};
    if (!bytes.empty()) std::memcpy(owned.bytes.get(), bytes.data(), bytes.size());
    return owned;
}

unsigned long ReadFileBytes(win32::SystemPath const& path, FileBytes& bytes)
{
    win32::File file;
    if (unsigned long const error = file.Open(path, {.sequential = true})) return error;
    unsigned long error = 0;
    std::uint64_t const size = file.Size(error);
    if (error != 0) return error;
    // One byte more than can be read tells a file that is too large from the largest one.
    bytes.size = static_cast<std::size_t>(std::min<std::uint64_t>(size, kMostFileBytes + 1));
    bytes.bytes = std::make_unique_for_overwrite<char[]>(bytes.size);
    // A file that shrinks meanwhile gives fewer bytes, and one that grows is read up to the size that was asked for.
    bytes.size = file.Read(bytes.bytes.get(), bytes.size, 0, error);
    return error;
}

bool IsBlank(char byte) noexcept
{
    return byte == ' ' || byte == '\t';
}

std::string_view WithoutBlanks(std::string_view text) noexcept
{
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

/// The word at the front, which is taken off with the blanks after it.
std::string_view TakeWord(std::string_view& text) noexcept
{
    std::string_view const word = text.substr(0, text.find_first_of(" \t"));
    text.remove_prefix(word.size());
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    return word;
}

template <class Number>
std::optional<Number> WholeNumber(std::string_view word) noexcept
{
    Number number{};
    auto const [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
    return number;
}

XCString Decoded(std::string_view bytes)
{
    XCString text;
    return text::DecodeUtf8(text, bytes) ? text : XCString();
}

/// How many units an editor shows; a byte that is no UTF-8 counts as one.
std::size_t UnitsOf(std::string_view bytes) noexcept
{
    wchar_t none = 0;
    return text::DecodeUtf8Leniently(&none, 0, bytes);
}

/// UTF-16 as UTF-8. Half a pair becomes a byte that is none, to be named where it stands; so does half a unit at the end.
FileBytes FromUnits(std::wstring_view units, bool isCut)
{
    std::string bytes;
    bytes.reserve(units.size() + units.size() / 2);
    while (!units.empty()) {
        std::size_t const whole = text::FindUnpairedSurrogate(units);
        text::AppendUtf8(bytes, units.substr(0, whole));
        if (whole < units.size()) bytes += kNoText;
        units.remove_prefix(std::min(whole + 1, units.size()));
    }
    if (isCut) bytes += kNoText;
    return Owned(bytes);
}

FileBytes FromCodePage(std::string_view bytes, unsigned int codePage)
{
    XCCodePageConverter const converter(codePage);
    std::string converted;
    XCString line;
    for (std::size_t at = 0; at < bytes.size();) {
        // npos becomes the end of the bytes here.
        std::size_t const next = std::min(bytes.find('\n', at), bytes.size() - 1) + 1;
        if (converter.ToUnicode(line, bytes.substr(at, next - at)).Good())
            text::AppendUtf8(converted, line.View());
        else
            (converted += kNoText) += '\n';
        at = next;
    }
    return Owned(converted);
}

/// The first line of a file, "LAN 1 <library> <language> <codepage?>".
struct Head {
    XCString library;
    XCString language;
    unsigned int codePage = kUtf8CodePage;
};

/// Three letters in lower case; empty when it is no such code.
XCString LanguageOf(std::string_view word)
{
    std::string lower(word);
    for (char& letter : lower) letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    bool const isCode = lower.size() == 3 && lower.find_first_not_of("abcdefghijklmnopqrstuvwxyz") == std::string::npos;
    return isCode ? text::AsciiText(lower) : XCString();
}

/// Null, or what is wrong.
wchar_t const* ReadHead(std::string_view line, Head& head)
{
    line = WithoutBlanks(line);
    if (TakeWord(line) != "LAN") return L"the first line must be \"LAN 1 <library> <language>\"";
    if (TakeWord(line) != "1") return L"this version of the format is not known";
    head.library = Decoded(TakeWord(line));
    if (head.library.IsNull()) return L"the name of the library is missing";
    head.language = LanguageOf(TakeWord(line));
    if (head.language.IsNull()) return L"the language must be three letters";
    std::string_view const codePage = TakeWord(line);
    std::optional<unsigned int> const number = WholeNumber<unsigned int>(codePage);
    if (!codePage.empty() && !number) return L"the code page must be a number";
    head.codePage = number.value_or(kUtf8CodePage);
    return line.empty() ? nullptr : L"the first line ends with the code page";
}

/// Whether a file's name, when it has the form of one, says what its head says.
bool AgreesWithName(XCString const& file, Head const& head)
{
    std::size_t const folder = file.View().find_last_of(L"\\/:") + 1;
    XCString const name(file.View().substr(folder));
    constexpr std::wstring_view kEnding = L".LAN";
    if (name.Length() < kEnding.size() + 5) return true;
    XCString const ending = name.SubStr(name.Length() - kEnding.size(), XCString::npos);
    if (!ending.IsEqual(kEnding.data(), 1)) return true;
    return name.IsEqual(head.library + L"." + head.language + kEnding.data(), 1);
}

} // namespace

/// Reads the lines of one file.
class MessageReader {
public:
    MessageReader(MessageTable& table, std::vector<XCLineFault>& faults) noexcept : m_table(table), m_faults(faults) {}

    XCErrorID Read()
    {
        if (m_table.m_bytes.size > kMostFileBytes) return Refuse(L"the file is larger than 1 GiB");
        XCErrorID const head = TakeHead();
        if (head.Bad()) return head;
        if (m_table.m_bytes.size > kMostFileBytes) return Refuse(L"in UTF-8 the file is larger than 1 GiB");
        m_bytes = m_table.m_bytes.View();
        ReadLines();
        Sort();
        // How many codes one unit of code stands for, on average: the guess of the search. Differences of 32-bit codes
        // fit a double without loss.
        m_table.m_scale =
            m_table.m_codes.size() < 2
                ? 0
                : static_cast<double>(m_table.m_codes.size() - 1) /
                      (static_cast<double>(m_table.m_codes.back()) - static_cast<double>(m_table.m_codes.front()));
        return XCErrorID::Success;
    }

private:
    XCErrorID Refuse(wchar_t const* reason)
    {
        m_faults.push_back({m_table.m_file, 1, 0, reason});
        return errors::MakeCoreError(XCErrMessageFileMalformed, m_table.m_file, XCString(L"1"), XCString(reason));
    }

    /// Brings a marked file to UTF-8. False when it has no byte order mark.
    bool TakeMarkedBytes(std::string_view bytes)
    {
        std::string_view const mark = ByteOrderMark(XCTextEncoding::Utf8WithMark);
        if (bytes.starts_with(mark)) m_at = mark.size();
        // The bytes are replaced by their UTF-8: places of the table point into one form alone.
        for (XCTextEncoding const encoding : {XCTextEncoding::Utf16LE, XCTextEncoding::Utf16BE}) {
            if (!bytes.starts_with(ByteOrderMark(encoding))) continue;
            XCTextEncoding found{};
            std::optional<UnitBuffer> const units = DecodeText(bytes.substr(0, bytes.size() / 2 * 2), found);
            m_table.m_bytes = FromUnits(units->View(), bytes.size() % 2 != 0);
            return true;
        }
        return m_at != 0;
    }

    /// Reads the first line and brings the bytes to UTF-8.
    XCErrorID TakeHead()
    {
        // A mark wins over the code page of the first line, which an editor that saved in UTF-8 has left as it was.
        bool const isMarked = TakeMarkedBytes(m_table.m_bytes.View());
        std::string_view const bytes = m_table.m_bytes.View();
        Head head;
        ScannedLine const line = ScanLine(bytes, m_at);
        if (wchar_t const* const reason = ReadHead(bytes.substr(m_at, line.end - m_at), head)) return Refuse(reason);
        if (!AgreesWithName(m_table.m_file, head)) return Refuse(L"the file's name says another library or language");
        m_at = line.next;
        if (!isMarked && head.codePage != kUtf8CodePage) {
            XCString probe;
            // One letter tells whether the page exists; otherwise every line would be named as a fault.
            if (XCCodePageConverter(head.codePage).ToUnicode(probe, "L").Bad())
                return Refuse(L"the system does not know the code page");
            m_table.m_bytes = FromCodePage(bytes, head.codePage);
            // The first line again, in the new bytes: its length may have changed.
            m_at = ScanLine(m_table.m_bytes.View(), 0).next;
        }
        m_table.m_library = head.library;
        m_table.m_language = head.language;
        return XCErrorID::Success;
    }

    void ReadLines()
    {
        // Shorter lines than this are rare: a guess that saves growing.
        m_table.m_codes.reserve(m_bytes.size() / 40);
        m_table.m_places.reserve(m_bytes.size() / 40);
        m_line = 1;
        while (m_at < m_bytes.size()) {
            ++m_line;
            ReadEntry();
        }
    }

    /// One entry with its continuations; m_line ends at its last line.
    void ReadEntry()
    {
        m_begin = m_at;
        m_entryLine = m_line;
        ScannedLine line = ScanLine(m_bytes, m_at);
        std::size_t at = SkipBlanks(m_at, line.end);
        m_at = line.next;
        if (at == line.end || m_bytes[at] == ';') return;
        // Traits are gathered over all lines of the entry, since a later one may hold the first escape.
        std::uint8_t traits = line.traits;
        while ((line.traits & kTextEscaped) != 0 && IsContinued(m_bytes.substr(m_begin, line.end - m_begin))) {
            if (m_at == m_bytes.size()) return Fault(line.end - 1, L"no line follows in which the text could go on");
            ++m_line;
            std::size_t const begin = m_at;
            line = ScanLine(m_bytes, begin);
            traits |= line.traits;
            m_at = line.next;
            if (line.end == begin) break; // an empty line ends the text
        }
        ReadParts(at, line.end, traits);
    }

    void ReadParts(std::size_t at, std::size_t end, std::uint8_t traits)
    {
        std::int32_t code = 0;
        char const* const data = m_bytes.data();
        // Signs are part of a code: message numbers of the system are negative as 32-bit integers.
        auto const [codeEnd, error] = std::from_chars(data + at, data + end, code);
        if (error == std::errc::result_out_of_range) return Fault(at, L"the code does not fit 32 bits");
        if (error != std::errc() || codeEnd == data + end || !IsBlank(*codeEnd))
            return Fault(at, L"a code was expected");
        at = SkipBlanks(static_cast<std::size_t>(codeEnd - data), end);
        bool const isSeverity =
            at < end && data[at] >= '0' && data[at] <= '3' && (at + 1 == end || IsBlank(data[at + 1]));
        if (!isSeverity) return Fault(at, L"a severity from 0 to 3 was expected");
        at = SkipBlanks(at + 1, end);
        while (end > at && IsBlank(data[end - 1])) --end;
        if (at == end) return Fault(at, L"the text is missing");
        if (!IsSound(at, end, traits)) return;
        m_table.m_codes.push_back(code);
        // Only texts with a percent sign, or an escape that may be one, can hold parameters. The mark saves the
        // comparison with the original for all others.
        bool const mayAsk = (traits & (kTextPercent | kTextEscaped)) != 0;
        m_table.m_places.push_back(static_cast<std::uint32_t>(at) | (mayAsk ? MessageTable::kMayAsk : 0));
    }

    /// Names what cannot be text; true when there is nothing.
    bool IsSound(std::size_t at, std::size_t end, std::uint8_t traits)
    {
        std::string_view const text = m_bytes.substr(at, end - at);
        std::size_t used = text.size();
        if ((traits & kTextHigh) != 0) {
            // Decoding is the validation; its result is thrown away, in memory that all lines share.
            m_scratch.resize(std::max(m_scratch.size(), text.size()));
            (void)text::DecodeUtf8(m_scratch.data(), text, used);
        }
        if (used < text.size()) return Fault(at + used, L"no text in the encoding of the file"), false;
        if ((traits & kTextControl) != 0) {
            auto const isControl = [](char byte) {
                return static_cast<unsigned char>(byte) < 0x20 && byte != '\t' && byte != '\r' && byte != '\n';
            };
            auto const control = std::find_if(text.begin(), text.end(), isControl);
            if (control != text.end())
                return Fault(at + static_cast<std::size_t>(control - text.begin()), L"a control character"), false;
        }
        if ((traits & kTextEscaped) == 0) return true;
        EscapeFault const escape = FindEscapeFault(text);
        if (escape.reason) Fault(at + escape.at, escape.reason);
        return escape.reason == nullptr;
    }

    [[nodiscard]] std::size_t SkipBlanks(std::size_t at, std::size_t end) const noexcept
    {
        while (at < end && IsBlank(m_bytes[at])) ++at;
        return at;
    }

    /// A fault at a byte of the entry that is read.
    void Fault(std::size_t at, wchar_t const* reason)
    {
        std::string_view const before = m_bytes.substr(m_begin, at - m_begin);
        auto const breaks = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
        std::size_t const lineBegin = before.rfind('\n') + 1; // npos + 1 is 0
        AddFault({m_table.m_file, m_entryLine + breaks, UnitsOf(before.substr(lineBegin)) + 1, reason});
    }

    void AddFault(XCLineFault fault)
    {
        // A file of the wrong kind has a fault in each line, which nobody reads.
        if (++m_count > kMostFaults) {
            if (m_count == kMostFaults + 1) m_faults.push_back({m_table.m_file, 0, 0, L"there are further faults"});
            return;
        }
        m_faults.push_back(std::move(fault));
    }

    void Sort()
    {
        std::vector<std::int32_t>& codes = m_table.m_codes;
        // Strictly ascending already: the usual case costs one pass.
        if (std::adjacent_find(codes.begin(), codes.end(), std::greater_equal<>()) == codes.end()) return;
        std::vector<std::uint32_t> order(codes.size());
        std::iota(order.begin(), order.end(), 0u);
        std::stable_sort(order.begin(), order.end(), [&](auto a, auto b) { return codes[a] < codes[b]; });
        std::vector<std::int32_t> sorted;
        std::vector<std::uint32_t> places;
        for (std::uint32_t const index : order) {
            if (sorted.empty() || sorted.back() != codes[index]) {
                sorted.push_back(codes[index]);
                places.push_back(m_table.m_places[index]);
                continue;
            }
            AddFault({m_table.m_file, LineOf(m_table.m_places[index]), 0,
                      L"code " + text::NumberText(codes[index]) + L" stands in line " +
                          text::NumberText(LineOf(places.back())) + L" already"});
        }
        codes.swap(sorted);
        m_table.m_places.swap(places);
    }

    [[nodiscard]] std::size_t LineOf(std::uint32_t place) const noexcept
    {
        if (m_count > kMostFaults) return 0; // not kept, so not counted
        std::string_view const before = m_bytes.substr(0, place & MessageTable::kPlace);
        return 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
    }

    MessageTable& m_table;
    std::vector<XCLineFault>& m_faults;
    std::string_view m_bytes;
    std::size_t m_at = 0;    ///< the next line
    std::size_t m_begin = 0; ///< of the entry
    std::uint32_t m_line = 0;
    std::uint32_t m_entryLine = 0;
    std::size_t m_count = 0; ///< of faults
    std::wstring m_scratch;
};

XCErrorID MessageTable::Open(XCString const& path, XCSmartPtr<MessageTable>& table, std::vector<XCLineFault>& faults)
{
    FileBytes bytes;
    unsigned long const error = ReadFileBytes(win32::SystemPath(path), bytes);
    if (error == 0) return Read(std::move(bytes), path, table, faults);
    XCErrorID const failure = errors::MakeFileError(XCErrMessageFileCannotRead, path, error);
    faults.push_back({path, 0, 0, failure.AsString()});
    return failure;
}

XCErrorID MessageTable::Read(FileBytes bytes, XCString const& name, XCSmartPtr<MessageTable>& table,
                             std::vector<XCLineFault>& faults)
{
    XCSmartPtr<MessageTable> const made(new MessageTable);
    made->m_bytes = std::move(bytes);
    made->m_file = name;
    XCErrorID const result = MessageReader(*made, faults).Read();
    // The caller's table changes only as a whole.
    if (result.Good()) table = made;
    return result;
}

} // namespace xc::encoding
