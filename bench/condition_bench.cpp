// Conditions: a million records against a filter, and the reading of its text.
#include <XelbrinCore/XCCondition.h>
#include <XelbrinCore/XCConditionSet.h>

#include <benchmark/benchmark.h>
#include <memory>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t kRecords = 1000000;
constexpr wchar_t kFilter[] = L"Status >= 500 AND Path % \"/api/.*\"";

struct Line {
    int status;
    XCString path;
};

/// Half of the lines are answered with 500 and more, half of the paths begin with /api/.
std::vector<Line> const& Lines()
{
    static std::vector<Line> const lines = [] {
        XCString const paths[] = {L"/api/v1/users/17/orders", L"/static/images/logo.png", L"/api/v2/search",
                                  L"/index.html"};
        std::vector<Line> made;
        made.reserve(kRecords);
        std::uint32_t random = 1;
        for (std::size_t i = 0; i < kRecords; ++i) {
            random = random * 1664525 + 1013904223;
            made.push_back({random >> 31 ? 503 : 200, paths[(random >> 16) % 4]});
        }
        return made;
    }();
    return lines;
}

void PerRecord(benchmark::State& state)
{
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(kRecords));
    state.counters["record"] = benchmark::Counter(
        static_cast<double>(kRecords), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void EvaluateMillion(benchmark::State& state, bool bind)
{
    std::vector<Line> const& lines = Lines();
    XCSmartPtr<XCConditionSchema> const schema(new XCConditionSchema({L"Host", L"Status", L"Path"}));
    XCCondition condition{XCString(kFilter)};
    if (bind) (void)condition.Bind(*schema);
    XCConditionParams record(schema);
    for (auto _ : state) {
        std::size_t found = 0;
        for (Line const& line : lines) {
            record.SetAt(1, line.status);
            record.SetAt(2, line.path);
            found += condition.Evaluate(record) ? 1u : 0u;
        }
        benchmark::DoNotOptimize(found);
    }
    PerRecord(state);
}
void ConditionMillion_Bound(benchmark::State& state)
{
    EvaluateMillion(state, true);
}
BENCHMARK(ConditionMillion_Bound)->Unit(benchmark::kMillisecond);
void ConditionMillion_ByName(benchmark::State& state)
{
    EvaluateMillion(state, false);
}
BENCHMARK(ConditionMillion_ByName)->Unit(benchmark::kMillisecond);

void ConditionMillion_BoundSource(benchmark::State& state)
{
    /// Gives fields only when they are asked for.
    class LineSource : public XCConditionParams {
    public:
        using XCConditionParams::XCConditionParams;
        Line const* line = nullptr;
        XCConditionValue GetValueAt(std::size_t index) const override
        {
            return index == 1 ? XCConditionValue(line->status) : XCConditionValue(line->path);
        }
    };
    std::vector<Line> const& lines = Lines();
    XCSmartPtr<XCConditionSchema> const schema(new XCConditionSchema({L"Host", L"Status", L"Path"}));
    XCCondition condition{XCString(kFilter)};
    (void)condition.Bind(*schema);
    LineSource record(schema);
    for (auto _ : state) {
        std::size_t found = 0;
        for (Line const& line : lines) {
            record.line = &line;
            found += condition.Evaluate(record) ? 1u : 0u;
        }
        benchmark::DoNotOptimize(found);
    }
    PerRecord(state);
}
BENCHMARK(ConditionMillion_BoundSource)->Unit(benchmark::kMillisecond);

void ConditionMillion_CompiledByHand(benchmark::State& state)
{
    std::vector<Line> const& lines = Lines();
    for (auto _ : state) {
        std::size_t found = 0;
        for (Line const& line : lines) found += line.status >= 500 && line.path.View().starts_with(L"/api/") ? 1u : 0u;
        benchmark::DoNotOptimize(found);
    }
    PerRecord(state);
}
BENCHMARK(ConditionMillion_CompiledByHand)->Unit(benchmark::kMillisecond);

/// A thousand rules of which a record meets one or two: by a set, and one after the other.
struct Rules {
    Rules()
    {
        for (int i = 0; i < 1000; ++i) {
            XCString text;
            text.Format(L"Host = host%d AND Status >= %d AND Path %% \"/api/.*\"", i, 400 + i % 3 * 100);
            XCCondition condition(text);
            if (set.Add(condition).Bad() || condition.Bind(*schema).Bad()) return;
            list.push_back(std::move(condition));
        }
    }
    void Next(XCConditionParams& record)
    {
        host = (host * 5 + 3) % 1024; // every number below 1024 once; those from 1000 on have no rule
        name.Format(L"host%d", host);
        record.SetAt(0, name);
        record.SetAt(1, 503);
        record.SetAt(2, path);
    }
    XCSmartPtr<XCConditionSchema> const schema{new XCConditionSchema({L"Host", L"Status", L"Path"})};
    XCConditionSet set{schema};
    std::vector<XCCondition> list;
    int host = 1;
    XCString name;
    XCString path = L"/api/v1/users/17/orders";
};

void ThousandRules_XCConditionSet(benchmark::State& state)
{
    Rules rules;
    XCConditionParams record(rules.schema);
    XCConditionMatches met;
    for (auto _ : state) {
        rules.Next(record);
        rules.set.Evaluate(record, met);
        benchmark::DoNotOptimize(met.size());
    }
}
BENCHMARK(ThousandRules_XCConditionSet);
void ThousandRules_OneAfterTheOther(benchmark::State& state)
{
    Rules rules;
    XCConditionParams record(rules.schema);
    for (auto _ : state) {
        rules.Next(record);
        std::size_t met = 0;
        for (XCCondition const& condition : rules.list) met += condition.Evaluate(record) ? 1u : 0u;
        benchmark::DoNotOptimize(met);
    }
}
BENCHMARK(ThousandRules_OneAfterTheOther);

void Read(benchmark::State& state, wchar_t const* text)
{
    XCString const filter(text);
    for (auto _ : state) {
        XCCondition condition(filter);
        benchmark::DoNotOptimize(condition);
    }
}
void ConditionRead_TwoComparisons(benchmark::State& state)
{
    Read(state, L"Status >= 500 AND Path = \"/api/.*\"");
}
BENCHMARK(ConditionRead_TwoComparisons);
void ConditionRead_WithPattern(benchmark::State& state)
{
    Read(state, kFilter);
}
BENCHMARK(ConditionRead_WithPattern);
void ConditionRead_Date(benchmark::State& state)
{
    Read(state, L"Due < TO_DATE(2009/01/03 12:00:00)");
}
BENCHMARK(ConditionRead_Date);

void ConditionPrint(benchmark::State& state)
{
    XCCondition const condition{XCString(kFilter)};
    for (auto _ : state) {
        XCString text = condition.ToString();
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(ConditionPrint);

} // namespace
