// page.h - the two results: a page for people and a file that tools for test results read.
#pragma once

#include "answers.h"
#include "machine.h"
#include "programs.h"
#include "rows.h"

namespace xc::evidence {

struct AskedQuestion {
    Question question;
    Answer answer;
};

/// One test program; it has a result file of its own unless it ended before it could write one.
struct TestRun {
    XCString name;
    Outcome outcome;
    std::string suites;   ///< the test suites of its result file, as they stand there; empty: there is none
    XCString lastStarted; ///< without a result file: the test that it had begun last
    int tests = 0;
    int failures = 0;
    int skipped = 0;

    [[nodiscard]] bool Good() const { return outcome.started && outcome.ended && outcome.exitCode == 0; }
};

struct Results {
    Facts machine;
    std::vector<AskedQuestion> questions;
    std::vector<TestRun> tests;
    std::vector<Row> rows;
    XCString rowsEnding; ///< of the process that measures, when it did not end well
};

/// Whether there were test programs, all of them ended well and all answers are as assumed.
bool AllGood(Results const& results);

std::string Page(Results const& results);  ///< HTML
std::string JUnit(Results const& results); ///< XML, with the machine as properties

} // namespace xc::evidence
