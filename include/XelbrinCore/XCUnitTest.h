// XCUnitTest.h - test cases that a program carries with it, and a menu that runs them.
//
// WHAT     A test case is a name and a function that gets a scope; checks through the scope are counted, and a failed
//          one is reported with its text. XCUnitTest runs the cases, all or by choice from a menu. An application with
//          plug-ins shows the menu as its main menu when asked to (XCApplicationWithPlugIns::SetIsRunWithMenu).
// THREADS  One thread at a time.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <vector>

/// What one run of a test case has found so far.
class XC_API XCTestScope {
public:
    /// Counts a check. @param what the text reported when it fails.   @return whether it held.
    bool Check(bool holds, XCString const& what);
    /// Counts a check that an operation succeeded; the error's text is reported. An error without text is reported as
    /// "<Unknown XCError }".
    bool CheckGood(XCErrorID const& result, XCString const& what);

    /// How many checks were made.
    [[nodiscard]] std::size_t GetCheckCount() const noexcept { return m_checks; }
    /// The texts of those that failed, in order.
    [[nodiscard]] std::vector<XCString> const& GetFailures() const noexcept { return m_failures; }

private:
    std::size_t m_checks = 0;
    std::vector<XCString> m_failures;
};

/// A list of test cases.
class XC_API XCUnitTest {
public:
    /// The body of a test case.
    using Function = std::function<void(XCTestScope&)>;

    /// @param title the line above the menu.
    explicit XCUnitTest(XCString title = L"Main menu");
    /// Appends a case. The function is called once a run.
    void AddTestCase(XCString const& name, Function function);
    /// Removes the cases, from the index `from` on, whose function `which` chooses.
    void RemoveTestCases(std::function<bool(Function const&)> const& which, std::size_t from = 0);
    /// How many cases there are.
    [[nodiscard]] std::size_t GetTestCaseCount() const noexcept { return m_cases.size(); }

    /// Runs one case and reports on it; false when a check failed, something was thrown, or there is no such case.
    bool Run(std::size_t index, std::wostream& out) const;
    /// Runs all. @return how many failed.
    std::size_t RunAll(std::wostream& out) const;
    /// Shows the cases with numbers, reads a choice a line and runs it, until "0", "q" or the end of the input. "a" runs
    /// all. @return how many runs failed.
    std::size_t RunMenu(std::wistream& in, std::wostream& out) const;

private:
    struct Case {
        XCString name;
        Function function;
    };

    void ShowMenu(std::wostream& out) const;

    XCString m_title;
    std::vector<Case> m_cases;
};
