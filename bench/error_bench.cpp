// Rows of the error family: what success, failure, a throw and a text cost.
#include <XelbrinCore/XCException.h>

#include <benchmark/benchmark.h>

namespace {

void ErrorID_SuccessMadeAndDropped(benchmark::State& state)
{
    for (auto _ : state) {
        XCErrorID id;
        benchmark::DoNotOptimize(id);
    }
}
BENCHMARK(ErrorID_SuccessMadeAndDropped);

void ErrorID_FailureMadeAndDropped(benchmark::State& state)
{
    for (auto _ : state) {
        XCErrorID id(XCSmartPtr<XCError>(new XCError(glbXCOREMsgSourceP, 15)));
        benchmark::DoNotOptimize(id);
    }
}
BENCHMARK(ErrorID_FailureMadeAndDropped);

void ErrorID_FailureCopied(benchmark::State& state)
{
    XCErrorID const id(XCSmartPtr<XCError>(new XCError(glbXCOREMsgSourceP, 15)));
    for (auto _ : state) {
        XCErrorID copy(id);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(ErrorID_FailureCopied);

XCErrorID ThreeArguments(XCSmartPtrToConst<XCMessageSource> const& source)
{
    XCSmartPtr<XCErrorWithArgs> const error(new XCErrorWithArgs(source, 1));
    error->AddParam(XCString(L"settings.ini"));
    error->AddParam(12);
    error->AddParam(0.75);
    return error;
}

XCSmartPtr<XCInRAMMessageSource> SourceInMemory()
{
    XCSmartPtr<XCInRAMMessageSource> source(new XCInRAMMessageSource);
    source->Add(1, L"Cannot read %s, line %d: %g of it is left.");
    return source;
}

void Error_ThreeArgumentsMadeAndDropped(benchmark::State& state)
{
    XCSmartPtrToConst<XCMessageSource> const source(SourceInMemory());
    for (auto _ : state) {
        XCErrorID id = ThreeArguments(source);
        benchmark::DoNotOptimize(id);
    }
}
BENCHMARK(Error_ThreeArgumentsMadeAndDropped);

void ErrorText_ThreeArguments(benchmark::State& state)
{
    XCErrorID const id = ThreeArguments(SourceInMemory());
    for (auto _ : state) {
        XCString text = id.AsString();
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(ErrorText_ThreeArguments);

void ErrorText_MessageTable(benchmark::State& state)
{
    XCErrorID const id(XCSmartPtr<XCError>(new XCError(glbXCOREMsgSourceP, 15)));
    for (auto _ : state) {
        XCString text = id.AsString();
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(ErrorText_MessageTable);

__attribute__((noinline)) void ThrowAtDepth(std::int64_t depth, bool noStack)
{
    if (depth == 0) throw XCException(L"benchmark", noStack);
    ThrowAtDepth(depth - 1, noStack);
    asm volatile("");
}

/// Ten calls between throw and catch. The difference of the two rows is the price of the stack.
void ThrowAndCatch(benchmark::State& state, bool noStack)
{
    for (auto _ : state) {
        try {
            ThrowAtDepth(10, noStack);
        } catch (XCException const& e) {
            benchmark::DoNotOptimize(&e);
        }
    }
}
BENCHMARK_CAPTURE(ThrowAndCatch, with_stack, false);
BENCHMARK_CAPTURE(ThrowAndCatch, without_stack, true);

/// Construction alone: with the capture of frames, and without.
void ExceptionMade(benchmark::State& state, bool noStack)
{
    for (auto _ : state) {
        XCException e(L"benchmark", noStack);
        benchmark::DoNotOptimize(&e);
    }
}
BENCHMARK_CAPTURE(ExceptionMade, with_stack, false);
BENCHMARK_CAPTURE(ExceptionMade, without_stack, true);

void ExceptionStackNamed(benchmark::State& state)
{
    (void)XCException(L"benchmark").Stack().Length(); // the symbols of the modules are read once
    for (auto _ : state) benchmark::DoNotOptimize(XCException(L"benchmark").Stack().Length());
}
BENCHMARK(ExceptionStackNamed);

void Double_RoundTwoDecimals(benchmark::State& state)
{
    double value = 1.005;
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        XCDouble rounded(value);
        benchmark::DoNotOptimize(rounded);
    }
}
BENCHMARK(Double_RoundTwoDecimals);

} // namespace
