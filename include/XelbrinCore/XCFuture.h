// XCFuture.h - threads from anything that can be called, and what they return.
//
// WHAT     XCStartThread runs a callable with its arguments on a new XCThread. XCAsync does the same and hands back a
//          future: the result, or the exception that left the callable.
//
//              XCFuture<Report> const report = XCAsync(MakeReport, month, Format::Short);
//              ...
//              Print(report.Get()); // waits; throws what MakeReport threw
//
//          Many small calls belong on a pool (XCThreadPool.h): a thread costs a millisecond, a task a microsecond.
// ARGUMENTS Are moved or copied into the thread; hand over std::ref where the original is meant. The thread's copies go
//          on the thread, before its end can be seen.
// LIFETIME A future may go before its thread ends: the thread goes on, its result is dropped. Copies share one result.
// ERRORS   XCException when the system creates no thread.
// THREADS  Any number of threads may wait for one future; a result is read by many as any object is.
#pragma once

#include <XelbrinCore/XCResult.h>
#include <XelbrinCore/XCThread.h>

#include <exception>
#include <functional>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>

namespace xc::sync {

/// A callable with its arguments, to be called once: both go when it returns.
template <class F, class... Args>
auto Bind(F&& function, Args&&... args)
{
    using Parts = std::tuple<std::decay_t<F>, std::decay_t<Args>...>;
    return
        [parts = std::optional<Parts>(std::in_place, std::forward<F>(function), std::forward<Args>(args)...)]() mutable
        -> std::invoke_result_t<std::decay_t<F>, std::decay_t<Args>...> {
            Parts own = *std::exchange(parts, std::nullopt);
            return std::apply([](auto&... each) -> decltype(auto) { return std::invoke(std::move(each)...); }, own);
        };
}

} // namespace xc::sync

/// Runs a callable on a thread that has started. What leaves it is kept for XCThread::GetFailure.
template <class F, class... Args>
requires std::is_invocable_v<std::decay_t<F>, std::decay_t<Args>...> XCSmartPtr<XCThread> XCStartThread(F&& function,
                                                                                                        Args&&... args)
{
    auto call = xc::sync::Bind(std::forward<F>(function), std::forward<Args>(args)...);
    XCSmartPtr<XCThread> const thread(new XCThread(XCMakeCallback(std::move(call))));
    (void)thread->Start(); // fails for a priority only
    return thread;
}

/// What a thread returns, once it has ended.
template <class R>
class XCFuture {
public:
    /// Waits for the end of the thread. @return false when the time has run out; the thread goes on.
    bool Wait(unsigned int timeoutMs = XCInfinite) const { return m_thread->Join(timeoutMs); }
    /// Whether the result is there.
    [[nodiscard]] bool IsReady() const { return Wait(0); }
    /// Waits, and hands out the result, where there is one. @throws what left the callable.
    std::add_lvalue_reference_t<R const> Get() const
    {
        (void)Wait();
        if (m_outcome->failure) std::rethrow_exception(m_outcome->failure);
        if constexpr (!std::is_void_v<R>) return m_outcome->value.value(); // the own thread asks too early
    }
    /// The result, or why there is none: XCErrTimedOut, the error of an XCException, the text of any other.
    [[nodiscard]] XCResult<R> GetResult(unsigned int timeoutMs = XCInfinite) const requires(!std::is_void_v<R>)
    {
        if (!Wait(timeoutMs)) return XCFail(XCErrTimedOut);
        try {
            return Get();
        } catch (XCException const& failure) {
            return failure.GetErrorID();
        } catch (...) {
            return XCFail(L"%s", m_thread->GetFailure());
        }
    }
    /// The thread, for its name, its identifier and its flags.
    [[nodiscard]] XCThread& GetThread() const noexcept { return *m_thread; }

    /// How XCAsync makes one; for nobody else.
    template <class Call>
    static XCFuture Start(Call call)
    {
        XCFuture future;
        future.m_outcome = new Outcome;
        future.m_thread = XCStartThread(
            [outcome = future.m_outcome](Call work) {
                try {
                    if constexpr (std::is_void_v<R>)
                        work();
                    else
                        outcome->value.emplace(work());
                } catch (...) {
                    outcome->failure = std::current_exception();
                    throw; // the thread keeps its text
                }
            },
            std::move(call));
        return future;
    }

private:
    struct Outcome : XCRefCount {
        std::optional<std::conditional_t<std::is_void_v<R>, bool, R>> value;
        std::exception_ptr failure;
    };
    XCFuture() = default;

    XCSmartPtr<Outcome> m_outcome;
    XCSmartPtr<XCThread> m_thread;
};

/// Runs a callable on a thread of its own and hands back its result to be.
template <class F, class... Args>
requires std::is_invocable_v<std::decay_t<F>, std::decay_t<Args>...>
auto XCAsync(F&& function, Args&&... args)
{
    using R = std::remove_cvref_t<std::invoke_result_t<std::decay_t<F>, std::decay_t<Args>...>>;
    return XCFuture<R>::Start(xc::sync::Bind(std::forward<F>(function), std::forward<Args>(args)...));
}
