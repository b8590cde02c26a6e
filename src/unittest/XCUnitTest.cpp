// Test cases that an application carries, run one by one or all together, and the menu that offers them.
//
// A case is a function that gets a scope; it has failed when a check of the scope did not hold or when it threw. What
// it throws is turned into a text inside the call, since its exception may be of a type of a plug-in module. Names and
// failures are shown with their control characters visible: they come from modules and must not shape the screen.
#include <XelbrinCore/XCUnitTest.h>

#include "errors/Sealed.h"
#include "text/Visible.h"

#include <algorithm>
#include <istream>
#include <ostream>
#include <string>

using xc::text::Visible;

bool XCTestScope::Check(bool holds, XCString const& what)
{
    // Counted whether they hold or not: a case that made no check at all is seen by its "0 checks".
    ++m_checks;
    if (!holds) m_failures.push_back(what);
    return holds;
}

bool XCTestScope::CheckGood(XCErrorID const& result, XCString const& what)
{
    // The text of an error is made for a failure only: it may be read from the resources of a module.
    if (result.Good()) return Check(true, what);
    return Check(false, what + L": " + XCErrorReportText(result));
}

XCUnitTest::XCUnitTest(XCString title) : m_title(std::move(title)) {}

void XCUnitTest::AddTestCase(XCString const& name, Function function)
{
    m_cases.push_back({name, std::move(function)});
}

void XCUnitTest::RemoveTestCases(std::function<bool(Function const&)> const& which, std::size_t from)
{
    if (from >= m_cases.size()) return;
    // Only those from a place on: the cases that were there before a plug-in came are not its own.
    auto const first = m_cases.begin() + static_cast<std::ptrdiff_t>(from);
    m_cases.erase(std::remove_if(first, m_cases.end(), [&](Case const& test) { return which(test.function); }),
                  m_cases.end());
}

bool XCUnitTest::Run(std::size_t index, std::wostream& out) const
{
    if (index >= m_cases.size()) return false;
    Case const& test = m_cases[index];
    XCTestScope scope;
    XCErrorID const thrown = xc::errors::Sealed([&] { test.function(scope); });
    bool const good = thrown.Good() && scope.GetFailures().empty();
    out << (good ? L"[ ok ] " : L"[FAIL] ") << Visible(test.name) << L" (" << scope.GetCheckCount() << L" checks)\n";
    for (XCString const& failure : scope.GetFailures()) out << L"       " << Visible(failure) << L'\n';
    if (thrown.Bad()) out << L"       threw: " << Visible(thrown.AsString()) << L'\n';
    // Each line is out before the next case runs: after a crash the last one names the case before it.
    out.flush();
    return good;
}

std::size_t XCUnitTest::RunAll(std::wostream& out) const
{
    std::size_t failed = 0;
    for (std::size_t i = 0; i < m_cases.size(); ++i) failed += Run(i, out) ? 0u : 1u;
    return failed;
}

void XCUnitTest::ShowMenu(std::wostream& out) const
{
    out << m_title << L'\n';
    for (std::size_t i = 0; i < m_cases.size(); ++i)
        out << L"  " << i + 1 << L"  " << Visible(m_cases[i].name) << L'\n';
    out << L"  a  all\n  0  end\n> " << std::flush;
}

std::size_t XCUnitTest::RunMenu(std::wistream& in, std::wostream& out) const
{
    std::size_t failed = 0;
    std::wstring line;
    for (ShowMenu(out); std::getline(in, line); ShowMenu(out)) {
        XCString choice(line);
        // Consoles of other systems send a carriage return as well.
        choice.LTrim(L" \t").RTrim(L" \t\r");
        if (choice == L"0" || choice == L"q") break;
        bool isNumber = false;
        unsigned int const number = choice.AsUint(&isNumber);
        if (choice == L"a")
            failed += RunAll(out);
        else if (isNumber && number >= 1 && number <= m_cases.size())
            failed += Run(number - 1, out) ? 0u : 1u;
        else
            out << L"no such choice: " << Visible(choice) << L'\n';
    }
    return failed;
}
