// evidence [/patience:seconds] [/only:name] [/nopause]: shows on a machine what the library does there.
//
// Describes the machine, asks the system what the library counts on, runs all test programs beside it and measures a
// few operations; a page and a file of test results go into the folder "results" of the current folder. Whatever may
// crash or hang runs in a process of its own, this program again for its own parts: that is a line of the results
// then, and the run goes on. Exit code: 0 when all is as it should be, 1 when something is not, 2 when no result
// could be written.
#include "page.h"

#include <XelbrinCore/XCCommandLine.h>
#include <XelbrinCore/XCErrorID.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <windows.h>

namespace fs = std::filesystem;
using namespace xc::evidence;

namespace {

std::string ReadAll(fs::path const& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool WriteAll(fs::path const& path, std::string const& text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
    out.close();
    return out.good();
}

XCString FromUtf8(std::string const& text)
{
    XCString out;
    (void)out.SetFromUTF8(text);
    return out;
}

fs::path OwnProgram()
{
    std::wstring path(32768, L'\0');
    path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

/// Removes a folder with all that it holds; names may be longer than the limit, links are not followed.
void RemoveTree(std::wstring const& folder)
{
    std::wstring const prefixed = folder.starts_with(L"\\\\?\\") ? folder : L"\\\\?\\" + folder;
    WIN32_FIND_DATAW found;
    HANDLE const search = ::FindFirstFileW((prefixed + L"\\*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return;
    do {
        std::wstring const name = found.cFileName;
        std::wstring const path = prefixed + L'\\' + name;
        bool const isFolder = found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY;
        bool const isLink = found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT;
        if (name == L"." || name == L"..") continue;
        if (isFolder && !isLink) RemoveTree(path);
        if (!isFolder) ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL); // one of them is read-only
        if (!isFolder) ::DeleteFileW(path.c_str());
        if (isFolder && isLink) ::RemoveDirectoryW(path.c_str());
    } while (::FindNextFileW(search, &found));
    ::FindClose(search);
    ::RemoveDirectoryW(prefixed.c_str());
}

/// The folders of a run.
struct Places {
    fs::path program = OwnProgram();
    fs::path results = fs::current_path() / L"results";
    unsigned int timeoutMs = 300000;

    [[nodiscard]] XCString Own(XCString const& arguments) const
    {
        return L"\"" + XCString(program.wstring()) + L"\" " + arguments;
    }
    /// An empty folder below the results.
    [[nodiscard]] fs::path Empty(std::wstring const& name) const
    {
        fs::path const folder = results / L"work" / name;
        fs::create_directories(folder);
        return folder;
    }
};

// The parts that run in a process of their own ----------------------------------------------------------------------

int AskOne(XCString const& number, fs::path const& answerFile)
{
    std::vector<Question> const questions = AllQuestions();
    Question const& question = questions.at(static_cast<std::size_t>(number.AsInt()));
    Asker const asker{OwnProgram().wstring(), fs::current_path().wstring()};
    Answer const answer = question.ask(asker);
    return WriteAll(answerFile, std::to_string(static_cast<int>(answer.verdict)) + "\n" + answer.text.AsUTF8()) ? 0 : 1;
}

int MeasureAll(fs::path const& rowFile)
{
    std::string out;
    for (Row const& row : MeasureRows(fs::current_path().wstring()))
        out += Text(L"%.1f %.1f %.1f %ls\n", row.lowest, row.middle, row.highest, row.name.AsWChar()).AsUTF8();
    return WriteAll(rowFile, out) ? 0 : 1;
}

// The run -----------------------------------------------------------------------------------------------------------

AskedQuestion Asked(Places const& places, std::size_t number, Question const& question)
{
    std::wstring const name = L"question" + std::to_wstring(number);
    fs::path const folder = places.Empty(name);
    fs::path const answerFile = places.results / (name + L".txt");
    XCString const arguments = Text(L"/ask:%d \"/into:%ls\"", static_cast<int>(number), answerFile.c_str());
    XCString const output = (places.results / L"work" / (name + L".log")).wstring();
    Outcome const outcome = RunProgram(places.Own(arguments), folder.wstring(), output, 60000);
    std::string const said = ReadAll(answerFile);
    std::error_code ignored;
    fs::remove(answerFile, ignored);
    RemoveTree(folder.wstring());
    if (said.size() < 2) return {question, {Verdict::Differs, L"the asking process " + Ending(outcome)}};
    return {question, {static_cast<Verdict>(said[0] - '0'), FromUtf8(said.substr(2))}};
}

/// The number after `name="` in the first element of a result file.
int Attribute(std::string const& xml, char const* name)
{
    std::size_t const at = xml.find(std::string(" ") + name + "=\"");
    return at == std::string::npos ? 0 : std::atoi(xml.c_str() + at + std::strlen(name) + 3);
}

/// The test that the output names as begun last.
XCString LastStarted(std::string const& output)
{
    std::size_t const at = output.rfind("[ RUN      ] ");
    if (at == std::string::npos) return {};
    return FromUtf8(output.substr(at + 13, output.find_first_of("\r\n", at) - at - 13));
}

TestRun RunTests(Places const& places, fs::path const& program)
{
    std::wstring const name = program.stem().wstring();
    fs::path const xmlFile = places.results / (name + L".xml");
    fs::path const outputFile = places.results / (name + L".txt");
    XCString const line =
        Text(L"\"%ls\" \"--gtest_output=xml:%ls\" --gtest_color=no", program.c_str(), xmlFile.c_str());
    TestRun run;
    run.name = name;
    run.outcome = RunProgram(line, places.Empty(name).wstring(), outputFile.wstring(), places.timeoutMs);
    std::string const xml = ReadAll(xmlFile);
    std::size_t const begin = xml.find("<testsuite ");
    std::size_t const end = xml.rfind("</testsuites>");
    if (begin != std::string::npos && end != std::string::npos) run.suites = xml.substr(begin, end - begin);
    if (run.suites.empty()) run.lastStarted = LastStarted(ReadAll(outputFile));
    run.tests = Attribute(xml, "tests");
    run.failures = Attribute(xml, "failures");
    for (std::size_t at = 0; (at = xml.find("result=\"skipped\"", at)) != std::string::npos; ++at) ++run.skipped;
    RemoveTree((places.results / L"work" / name).wstring());
    return run;
}

std::vector<fs::path> TestPrograms(Places const& places, std::wstring const& only)
{
    std::vector<fs::path> found;
    for (fs::directory_entry const& entry : fs::directory_iterator(places.program.parent_path())) {
        std::wstring const name = entry.path().filename().wstring();
        if (name.starts_with(L"test_") && name.ends_with(L".exe") && name.find(only) != std::wstring::npos)
            found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

void MeasureInto(Places const& places, Results& results)
{
    fs::path const rowFile = places.results / L"work" / L"rows.txt";
    fs::path const folder = places.Empty(L"rows");
    Outcome const outcome =
        RunProgram(places.Own(L"/rows \"/into:" + XCString(rowFile.wstring()) + L"\""), folder.wstring(),
                   (places.results / L"work" / L"rows.log").wstring(), places.timeoutMs);
    std::ifstream in(rowFile);
    Row row;
    std::string name;
    while (in >> row.lowest >> row.middle >> row.highest && std::getline(in >> std::ws, name)) {
        row.name = FromUtf8(name);
        results.rows.push_back(row);
    }
    if (outcome.exitCode != 0 || results.rows.empty()) results.rowsEnding = Ending(outcome);
}

void Tell(XCString const& text)
{
    std::puts(text.AsUTF8().c_str());
    std::fflush(stdout);
}

Results RunAll(Places const& places, XCString const& only)
{
    Results results;
    results.machine = DescribeMachine(places.results.wstring());
    std::vector<Question> const questions = AllQuestions();
    Tell(Text(L"Asking the system %d questions", static_cast<int>(questions.size())));
    for (std::size_t i = 0; i < questions.size(); ++i) results.questions.push_back(Asked(places, i, questions[i]));
    for (fs::path const& program : TestPrograms(places, only)) {
        Tell(L"Running " + XCString(program.stem().wstring()));
        results.tests.push_back(RunTests(places, program));
    }
    Tell(L"Measuring");
    MeasureInto(places, results);
    return results;
}

int Run(XCCommandLine const& line)
{
    Places places;
    places.timeoutMs = static_cast<unsigned int>(line.GetArg(L"patience", 300)) * 1000;
    RemoveTree(places.results.wstring());
    fs::create_directories(places.results);
    Results const results = RunAll(places, line.GetArg(L"only"));
    RemoveTree((places.results / L"work").wstring());
    if (!WriteAll(places.results / L"report.html", Page(results)) ||
        !WriteAll(places.results / L"report.xml", JUnit(results)))
    {
        Tell(L"The results cannot be written to " + XCString(places.results.wstring()));
        return 2;
    }
    Tell(L"Results: " + XCString((places.results / L"report.html").wstring()));
    return AllGood(results) ? 0 : 1;
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    // A crash is a line of the results, not a window that waits for somebody; children inherit that.
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    XCCommandLine const line(static_cast<std::size_t>(count), arguments);
    fs::path const into = std::wstring(line.GetArg(L"into"));
    if (line.ArgPresent(L"role")) return PlayRole(line.GetArg(L"role"));
    if (line.ArgPresent(L"ask")) return AskOne(line.GetArg(L"ask"), into);
    if (line.ArgPresent(L"rows")) return MeasureAll(into);
    return Run(line);
}
