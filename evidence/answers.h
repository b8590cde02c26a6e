// answers.h - questions to the system of this machine, each with the answer that the library counts on.
//
// Every question is asked in a process of its own, so that a crash or a hang is an answer too.
#pragma once

#include <XelbrinCore/XCString.h>
#include <initializer_list>
#include <vector>

namespace xc::evidence {

enum class Verdict { AsAssumed, Differs, NotAsked };

struct Answer {
    Verdict verdict = Verdict::NotAsked;
    XCString text;
};

/// The process that asks.
struct Asker {
    XCString program; ///< this program
    XCString folder;  ///< an empty folder of the question's own
};

struct Question {
    wchar_t const* subject;
    wchar_t const* text;
    wchar_t const* assumed;
    Answer (*ask)(Asker const& asker);
};

/// An answer that is as assumed or not.
inline Answer Says(bool asAssumed, XCString const& text)
{
    return {asAssumed ? Verdict::AsAssumed : Verdict::Differs, text};
}

/// A question that could not be put here.
inline Answer NotAsked(XCString const& why)
{
    return {Verdict::NotAsked, why};
}

/// "succeeds" or "error 5"; as assumed when the code is one of `assumed` (0: success).
Answer Code(unsigned long code, std::initializer_list<unsigned long> assumed);

/// XCString().Format as an expression.
template <class... Values>
XCString Text(wchar_t const* format, Values... values)
{
    XCString text;
    text.Format(format, values...);
    return text;
}

std::vector<Question> FileQuestions();
std::vector<Question> ProcessQuestions();
std::vector<Question> TimeQuestions();
std::vector<Question> TextQuestions();
std::vector<Question> TreeQuestions();

/// All of them, always in this order.
std::vector<Question> AllQuestions();

/// Roles of a process that a question starts: what it ends with, or -1 when it is none of them.
int PlayRole(XCString const& role);

} // namespace xc::evidence
