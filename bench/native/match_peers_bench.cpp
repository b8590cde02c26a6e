// Rows of the matcher beside the fastest libraries of its kind, natively: they come as packages of the system, and their
// compilers for the processor do not run on the target. PCRE2 reads units of 16 bits, as we do, and compiles to machine
// code; RE2 and Hyperscan read bytes. All match the whole subject.
#include "../match_shapes.h"

#include <XelbrinCore/XCRegEx.h>

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <hs/hs.h>
#include <memory>
#include <re2/re2.h>
#include <string>

#define PCRE2_CODE_UNIT_WIDTH 16
#include <pcre2.h>

namespace {

using match_bench::Shape;

/// The subjects of these rows are ASCII.
std::string Narrow(std::wstring const& text)
{
    std::string bytes;
    for (wchar_t const unit : text) bytes += static_cast<char>(unit);
    return bytes;
}

struct Ours {
    static constexpr char const* kName = "XCRegEx";
    explicit Ours(std::wstring const& pattern)
        : expression(XCStringRegExParser(XCString(std::wstring_view(pattern))).Parse(), false)
    {
    }
    void SetSubject(std::wstring const& text) { subject = text; }
    bool Match() const { return expression.Match(subject.c_str()); }
    XCRegEx expression;
    std::wstring subject;
};

struct Pcre2 {
    static constexpr char const* kName = "pcre2";
    explicit Pcre2(std::wstring const& pattern)
    {
        int error = 0;
        std::size_t at = 0;
        code.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                                 PCRE2_ANCHORED | PCRE2_ENDANCHORED | PCRE2_DOTALL, &error, &at, nullptr));
        if (!code || pcre2_jit_compile(code.get(), PCRE2_JIT_COMPLETE) != 0) std::abort();
        data.reset(pcre2_match_data_create_from_pattern(code.get(), nullptr));
    }
    void SetSubject(std::wstring const& text) { subject = text; }
    bool Match() const
    {
        return pcre2_match(code.get(), reinterpret_cast<PCRE2_SPTR>(subject.data()), subject.size(), 0, 0, data.get(),
                           nullptr) > 0;
    }
    struct Release {
        void operator()(pcre2_code* owned) const { pcre2_code_free(owned); }
        void operator()(pcre2_match_data* owned) const { pcre2_match_data_free(owned); }
    };
    std::unique_ptr<pcre2_code, Release> code;
    std::unique_ptr<pcre2_match_data, Release> data;
    std::wstring subject;
};

struct Re2 {
    static constexpr char const* kName = "re2";
    explicit Re2(std::wstring const& pattern) : expression(Narrow(pattern), Options())
    {
        if (!expression.ok()) std::abort();
    }
    static RE2::Options Options()
    {
        RE2::Options options(RE2::Latin1);
        options.set_dot_nl(true);
        options.set_never_capture(true);
        options.set_log_errors(false);
        return options;
    }
    void SetSubject(std::wstring const& text) { subject = Narrow(text); }
    bool Match() const { return RE2::FullMatch(subject, expression); }
    RE2 expression;
    std::string subject;
};

struct Hyperscan {
    static constexpr char const* kName = "hyperscan";
    explicit Hyperscan(std::wstring const& pattern)
    {
        hs_compile_error_t* error = nullptr;
        std::string const whole = "^(" + Narrow(pattern) + ")\\z";
        if (hs_compile(whole.c_str(), HS_FLAG_DOTALL | HS_FLAG_SINGLEMATCH | HS_FLAG_ALLOWEMPTY, HS_MODE_BLOCK, nullptr,
                       &database, &error) != HS_SUCCESS ||
            hs_alloc_scratch(database, &scratch) != HS_SUCCESS)
            std::abort();
    }
    Hyperscan(Hyperscan const&) = delete;
    Hyperscan& operator=(Hyperscan const&) = delete;
    ~Hyperscan()
    {
        hs_free_scratch(scratch);
        hs_free_database(database);
    }
    void SetSubject(std::wstring const& text) { subject = Narrow(text); }
    bool Match() const
    {
        bool found = false;
        auto const tell = [](unsigned int, unsigned long long, unsigned long long, unsigned int, void* context) {
            *static_cast<bool*>(context) = true;
            return 1;
        };
        hs_scan(database, subject.data(), static_cast<unsigned int>(subject.size()), 0, scratch, tell, &found);
        return found;
    }
    hs_database_t* database = nullptr;
    hs_scratch_t* scratch = nullptr;
    std::string subject;
};

/// What it answers is part of the row: a library that answers otherwise measures something else.
template <class Library>
void Run(benchmark::State& state, std::wstring const& pattern, std::wstring const& text)
{
    Library library(pattern);
    library.SetSubject(text);
    bool const wanted =
        XCRegEx(XCStringRegExParser(XCString(std::wstring_view(pattern))).Parse(), false).Match(text.c_str());
    if (library.Match() != wanted) state.SkipWithError("another answer");
    for (auto _ : state) benchmark::DoNotOptimize(library.Match());
}

template <class Library>
void Build(benchmark::State& state, std::wstring const& pattern)
{
    for (auto _ : state) {
        Library const library(pattern);
        benchmark::DoNotOptimize(&library);
    }
}

template <class Library>
void BuildAndMatch(benchmark::State& state, std::wstring const& pattern, std::wstring const& text)
{
    for (auto _ : state) {
        Library library(pattern);
        library.SetSubject(text);
        benchmark::DoNotOptimize(library.Match());
    }
}

template <class... Libraries>
void RegisterMatch(std::string const& name, std::wstring const& pattern, std::wstring const& text)
{
    (benchmark::RegisterBenchmark((std::string("NativeMatch_") + Libraries::kName + "/" + name).c_str(), Run<Libraries>,
                                  pattern, text),
     ...);
}

template <class... Libraries>
void RegisterConstruct(std::string const& name, std::wstring const& pattern, std::wstring const& text)
{
    (benchmark::RegisterBenchmark((std::string("NativeConstruct_") + Libraries::kName + "/" + name).c_str(),
                                  Build<Libraries>, pattern),
     ...);
    (benchmark::RegisterBenchmark((std::string("NativeOnce_") + Libraries::kName + "/" + name).c_str(),
                                  BuildAndMatch<Libraries>, pattern, text),
     ...);
}

void RegisterShape(Shape const& shape, std::size_t n)
{
    std::string const name = std::string(shape.name) + "/" + std::to_string(n);
    std::wstring const text = shape.subject(n);
    bool const isAscii = std::all_of(text.begin(), text.end(), [](wchar_t unit) { return unit < 0x80; });
    if (isAscii)
        RegisterMatch<Ours, Pcre2, Re2, Hyperscan>(name, shape.pattern, text);
    else
        RegisterMatch<Ours, Pcre2>(name, shape.pattern, text);
    if (n == 65536) return;
    if (isAscii)
        RegisterConstruct<Ours, Pcre2, Re2, Hyperscan>(shape.name, shape.pattern, text);
    else
        RegisterConstruct<Ours, Pcre2>(shape.name, shape.pattern, text);
}

bool const g_registered = [] {
    for (Shape const& shape : match_bench::kShapes) RegisterShape(shape, 1024);
    for (Shape const& shape : match_bench::kCalls) RegisterShape(shape, 40);
    for (Shape const& shape : match_bench::kSearches) RegisterShape(shape, 65536);
    for (std::size_t const count : {std::size_t{30}, std::size_t{100}})
        RegisterMatch<Ours, Re2, Hyperscan>(std::to_string(count) + "_words_in/65536",
                                            L".*(" + match_bench::MadeWords(count) + L").*",
                                            match_bench::LogText(65536));
    std::wstring const words = match_bench::MadeWords(10000);
    RegisterMatch<Ours, Re2>("one_of_10000_words", words, words.substr(0, words.find(L'|')));
    RegisterMatch<Ours, Re2>("10000_words_in/65536", L".*(" + words + L").*", match_bench::LogText(65536));
    return true;
}();

} // namespace
