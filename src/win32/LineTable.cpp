// Lines of source files by address, read from the programs of DWARF.
//
// A compiler writes for each of its units a small program that, run from its begin, yields rows: an address, a file, a
// line. Rows ascend within a range and hold up to the next one. There is no way into the middle of a program. So all
// are run once, which tells where the ranges lie (1 MB of programs: some milliseconds), and one again for each address
// that is asked for. The other way, from the ranges of units to their descriptions and from there to the programs, needs
// four more sections and reads most of their forms. Formats: versions 2 to 5 of the standard (DWARF 5, section 6.2),
// with one operation an instruction. Everything is read within bounds; a program that breaks the rules ends there.
#include "win32/LineTable.h"

#include "win32/CoffImage.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace xc::win32 {

namespace {

/// A row, and the registers of the machine that makes it.
struct Row {
    std::uint64_t address = 0;
    std::uint64_t file = 1;
    std::uint64_t line = 1;
};

/// The head of a unit.
struct Unit {
    ByteReader names{{}};   ///< tables of folders and files
    ByteReader program{{}}; ///< the operations
    unsigned int version = 0;
    unsigned int offsetSize = 4;
    std::uint8_t smallestInstruction = 1;
    std::int8_t lineBase = 0;
    std::uint8_t lineRange = 1;
    std::uint8_t firstSpecial = 1;
    std::array<std::uint8_t, 256> arguments{}; ///< of operations by number
};

/// Takes a unit off the front of the section. False: it is damaged, or of a version that is not known.
bool TakeUnit(ByteReader& section, Unit& unit)
{
    constexpr std::uint32_t kLong = 0xFFFFFFFF;
    std::uint64_t length = section.Number32();
    unit.offsetSize = length == kLong ? 8 : 4;
    if (length == kLong) length = section.Number(8);
    ByteReader body(section.Take(length));
    unit.version = static_cast<unsigned int>(body.Number(2));
    if (unit.version < 2 || unit.version > 5) return false;
    if (unit.version == 5) (void)body.Number(2); // sizes of addresses and of segments
    std::uint64_t const headLength = body.Number(unit.offsetSize);
    ByteReader head(body.Take(headLength));
    unit.program = body;
    unit.smallestInstruction = head.Byte();
    if (unit.version >= 4) (void)head.Byte(); // operations an instruction
    (void)head.Byte();                        // whether rows are statements
    unit.lineBase = static_cast<std::int8_t>(head.Byte());
    unit.lineRange = head.Byte();
    unit.firstSpecial = head.Byte();
    for (std::size_t i = 1; i < unit.firstSpecial; ++i) unit.arguments[i] = head.Byte();
    unit.names = head;
    return !head.Failed() && !body.Failed() && unit.lineRange != 0 && unit.firstSpecial != 0;
}

/// Runs a program: calls visit(row, isEnd) for each row until it answers false.
template <class Visit>
class Machine {
public:
    Machine(Unit const& unit, Visit const& visit) : m_unit(unit), m_visit(visit) {}

    void Run()
    {
        ByteReader program = m_unit.program;
        while (m_goesOn && !program.AtEnd() && !program.Failed()) {
            std::uint8_t const operation = program.Byte();
            if (operation >= m_unit.firstSpecial)
                Special(operation);
            else if (operation == 0)
                Extended(program);
            else
                Standard(operation, program);
        }
    }

private:
    void Emit(bool isEnd = false) { m_goesOn = m_visit(m_row, isEnd); }
    [[nodiscard]] std::uint64_t AdvanceOf(std::uint8_t operation) const
    {
        return std::uint64_t{m_unit.smallestInstruction} *
               (static_cast<unsigned int>(operation - m_unit.firstSpecial) / m_unit.lineRange);
    }
    void AddToLine(std::int64_t lines) { m_row.line += static_cast<std::uint64_t>(lines); }

    void Special(std::uint8_t operation)
    {
        m_row.address += AdvanceOf(operation);
        AddToLine(m_unit.lineBase + (operation - m_unit.firstSpecial) % m_unit.lineRange);
        Emit();
    }
    void Standard(std::uint8_t operation, ByteReader& program)
    {
        switch (operation) {
        case 1: return Emit();
        case 2: m_row.address += program.Leb() * m_unit.smallestInstruction; return;
        case 3: return AddToLine(program.SignedLeb());
        case 4: m_row.file = program.Leb(); return;
        case 8: m_row.address += AdvanceOf(255); return;
        case 9: m_row.address += program.Number(2); return;
        default: // columns, blocks, kinds of instructions and what is not known
            for (std::uint8_t i = 0; i < m_unit.arguments[operation]; ++i) (void)program.Leb();
        }
    }
    void Extended(ByteReader& program)
    {
        ByteReader operation(program.Take(program.Leb()));
        switch (operation.Byte()) {
        case 1:
            Emit(true);
            m_row = {};
            return;
        case 2:
            m_row.address =
                operation.Number(static_cast<unsigned int>(std::min<std::size_t>(operation.Rest().size(), 8)));
            return;
        default: return;
        }
    }

    Unit const& m_unit;
    Visit const& m_visit;
    Row m_row;
    bool m_goesOn = true;
};

template <class Visit>
void Run(Unit const& unit, Visit const& visit)
{
    Machine<Visit>(unit, visit).Run();
}

// Names of files ---------------------------------------------------------------------------------------------------

/// The file of a number, from 1, in the tables before version 5: folders, an empty text, files, an empty text.
std::string_view OldFileName(ByteReader names, std::uint64_t number)
{
    while (!names.Text().empty()) {
    }
    for (std::uint64_t i = 1; !names.Failed(); ++i) {
        std::string_view const name = names.Text();
        if (i == number || name.empty()) return name;
        for (int fact = 0; fact < 3; ++fact) (void)names.Leb(); // folder, time, size
    }
    return {};
}

std::string_view TextAt(std::string_view section, std::uint64_t offset)
{
    ByteReader reader(section);
    (void)reader.Take(offset);
    return reader.Text();
}

/// Takes a value of a form; what it says when it is a text.
std::string_view TakeForm(ByteReader& names, std::uint64_t form, unsigned int offsetSize, LineSections const& sections)
{
    switch (form) {
    case 0x08: return names.Text();
    case 0x1F: return TextAt(sections.lineStrings, names.Number(offsetSize));
    case 0x0E: return TextAt(sections.strings, names.Number(offsetSize));
    default: break;
    }
    std::uint64_t size = names.Rest().size() + std::uint64_t{1}; // of a form that is not known: the reader fails
    switch (form) {
    case 0x0B: size = 1; break;
    case 0x05: size = 2; break;
    case 0x06: size = 4; break;
    case 0x07: size = 8; break;
    case 0x1E: size = 16; break;
    case 0x0F: (void)names.Leb(); return {};
    case 0x09: size = names.Leb(); break;
    default: break;
    }
    (void)names.Take(size);
    return {};
}

/// Takes a table of version 5, which describes its own columns; the path in a row of it.
std::string_view TakeTable(ByteReader& names, std::uint64_t number, Unit const& unit, LineSections const& sections)
{
    constexpr std::uint64_t kPath = 1;
    struct Column {
        std::uint64_t content, form;
    };
    std::array<Column, 255> columns{};
    std::size_t const width = names.Byte();
    for (std::size_t i = 0; i < width; ++i) {
        columns[i].content = names.Leb();
        columns[i].form = names.Leb();
    }
    std::uint64_t const count = names.Leb();
    std::string_view path;
    for (std::uint64_t row = 0; row < count && width > 0 && !names.Failed(); ++row)
        for (std::size_t i = 0; i < width; ++i) {
            std::string_view const text = TakeForm(names, columns[i].form, unit.offsetSize, sections);
            if (row == number && columns[i].content == kPath) path = text;
        }
    return path;
}

std::string_view FileName(Unit const& unit, std::uint64_t number, LineSections const& sections)
{
    ByteReader names = unit.names;
    if (unit.version < 5) return OldFileName(names, number);
    (void)TakeTable(names, 0, unit, sections); // folders
    return TakeTable(names, number, unit, sections);
}

} // namespace

std::vector<LineRange> FindLineRanges(std::string_view lines)
{
    std::vector<LineRange> ranges;
    ByteReader section(lines);
    while (!section.AtEnd()) {
        LineRange range{0, 0, lines.size() - section.Rest().size()};
        bool isOpen = false;
        Unit unit;
        if (!TakeUnit(section, unit)) continue;
        Run(unit, [&](Row const& row, bool isEnd) {
            if (!std::exchange(isOpen, !isEnd)) range.begin = row.address;
            range.end = row.address;
            if (isEnd && range.begin < range.end) ranges.push_back(range);
            return true;
        });
    }
    std::sort(ranges.begin(), ranges.end(), [](auto const& a, auto const& b) { return a.begin < b.begin; });
    return ranges;
}

SourceLine FindSourceLine(LineSections const& sections, std::vector<LineRange> const& ranges, std::uint64_t address)
{
    auto const after = std::upper_bound(ranges.begin(), ranges.end(), address,
                                        [](std::uint64_t a, LineRange const& range) { return a < range.begin; });
    if (after == ranges.begin() || std::prev(after)->end <= address) return {};
    ByteReader section(sections.lines);
    (void)section.Take(std::prev(after)->unit);
    Unit unit;
    if (!TakeUnit(section, unit)) return {};
    Row before;
    bool isInside = false, isFound = false;
    Run(unit, [&](Row const& row, bool isEnd) {
        isFound = isInside && before.address <= address && address < row.address;
        if (!isFound) before = row;
        isInside = !isEnd;
        return !isFound;
    });
    if (!isFound) return {};
    return {FileName(unit, before.file, sections), before.line};
}

} // namespace xc::win32
