// The compiled expression as callers see it. Everything is the expression's (Expression.cpp), which all copies share
// and which never changes once it is built; the collating tables are only kept alive here.
//
// Sharing is what makes a compiled pattern a value: a copy costs one atomic increment, any number of threads may match
// with copies or with one object, and there is no moment at which a half-built program could be seen. The tables are
// shared for their lifetime only, because the program was built from their contents and would outlive a caller's last
// pointer to them.
#include <XelbrinCore/XCRegEx.h>

#include "match/Dump.h"
#include "match/Expression.h"

#include <new>

XCRegEx::XCRegEx(XCParsedRegEx const& parsed, bool debug) : XCRegEx(parsed, debug, Limits{}) {}
XCRegEx::XCRegEx(XCParsedRegEx const& parsed, bool debug, Limits const& limits)
    : m_expression(std::make_shared<xc::match::Expression>(parsed, debug, limits)),
      m_table(parsed.GetCollatingTableP()), m_wideTable(parsed.GetWCollatingTableP())
{
}
XCRegEx::XCRegEx(XCRegEx const& other) = default;
XCRegEx& XCRegEx::operator=(XCRegEx const& other) = default;
XCRegEx::~XCRegEx() = default;

bool XCRegEx::Match(wchar_t const* subject) const
{
    // Null counts as the empty text, as in all calls that take text.
    return m_expression->Match(subject ? subject : L"");
}

bool XCRegEx::Match(XCString const& subject) const
{
    return m_expression->Match(subject.AsWChar()); // a subject ends at its terminator, whatever its length
}

XCString XCRegEx::GetConstantStart() const
{
    return m_expression->ConstantStart();
}

bool XCRegEx::IsTooLarge() const noexcept
{
    return m_expression->IsTooLarge();
}

bool XCRegEx::UsesStateSets() const noexcept
{
    try {
        return m_expression->UsesStateSets();
    } catch (std::bad_alloc const&) {
        return true; // sets are what it goes on with
    }
}

std::vector<XCRegEx::DfaState> XCRegEx::GetStates() const
{
    return m_expression->States();
}

XCString XCRegEx::DumpStates() const
{
    return m_expression->DumpStates();
}

XCString XCRegEx::DumpNodes(XCParsedRegEx const& parsed)
{
    // Built anew: a compiled expression no longer has the nodes, and whoever looks at them has the time.
    return XCString(xc::match::DumpNodes(xc::match::Nfa(parsed.GetRoot(), std::pmr::new_delete_resource())));
}
