// The name in a declaration. It is read from left to right with the depth of brackets: what lies in brackets is skipped,
// and each "::" or blank outside of them begins the name anew. The first parameter list outside of brackets ends it,
// unless "::" follows: then it was that of a function with something local in it. Names of operators are the exception,
// as they hold brackets, blanks and "::" of their own.
#include "win32/FunctionName.h"

#include <algorithm>
#include <cstdlib>
#include <cxxabi.h>
#include <memory>

namespace xc::win32 {

namespace {

constexpr std::string_view kOperator = "operator";
constexpr std::string_view kUnnamed = "(anonymous namespace)";

/// The first `mark` outside of brackets, from `at` on; the end when there is none.
std::size_t FindOutside(std::string_view text, char mark, std::size_t at) noexcept
{
    for (int depth = 0; at < text.size(); ++at) {
        char const c = text[at];
        if (c == mark && depth == 0) return at;
        if (c == '<' || c == '(' || c == '{' || c == '[') ++depth;
        if (c == '>' || c == ')' || c == '}' || c == ']') --depth;
    }
    return text.size();
}

bool IsOperator(std::string_view text) noexcept
{
    constexpr std::string_view kSigns = "+-*/%^&|~!=<>,([ \"";
    return text.starts_with(kOperator) && text.size() > kOperator.size() &&
           kSigns.find(text[kOperator.size()]) != std::string_view::npos;
}

/// Where the parameters of an operator begin; `text` begins with its name.
std::size_t EndOfOperator(std::string_view text) noexcept
{
    if (text.substr(kOperator.size()).starts_with("()")) return kOperator.size() + 2;
    std::size_t const rest = text.find_first_not_of("+-*/%^&|~!=<>,[]", kOperator.size());
    return FindOutside(text, '(', std::min(rest, text.size()));
}

/// The place after "::" when nothing but words follows the parameters up to there; else npos.
std::size_t LocalAfter(std::string_view text, std::size_t parameters) noexcept
{
    std::size_t const close = FindOutside(text, ')', parameters + 1);
    std::size_t const next = text.find("::", close);
    bool const isLocal =
        next != std::string_view::npos && text.substr(close, next - close).find('[') == std::string_view::npos;
    return isLocal ? next + 2 : std::string_view::npos;
}

} // namespace

std::string Demangled(char const* name)
{
    struct Freer {
        void operator()(char* text) const noexcept { std::free(text); }
    };
    int status = 0;
    std::unique_ptr<char, Freer> const plain(abi::__cxa_demangle(name, nullptr, nullptr, &status));
    return plain ? plain.get() : name;
}

std::string_view ShortFunctionName(std::string_view declaration) noexcept
{
    std::size_t begin = 0;
    for (std::size_t at = 0; at < declaration.size();) {
        std::string_view const rest = declaration.substr(at);
        if (rest.starts_with(kUnnamed)) {
            at += kUnnamed.size();
        } else if (rest.front() == '(' && at == begin) { // of a result that is described, not of parameters
            at = FindOutside(declaration, ')', at + 1) + 1;
        } else if (rest.front() == '(' || (at == begin && IsOperator(rest))) {
            std::size_t const end = rest.front() == '(' ? at : at + EndOfOperator(rest);
            std::size_t const local = end < declaration.size() ? LocalAfter(declaration, end) : std::string_view::npos;
            if (local == std::string_view::npos) return declaration.substr(begin, end - begin);
            begin = at = local;
        } else if (rest.starts_with("::") || rest.front() == ' ') {
            at += rest.front() == ' ' ? 1u : 2u;
            begin = at;
        } else if (rest.front() == '<' || rest.front() == '{' || rest.front() == '[') {
            char const close = rest.front() == '<' ? '>' : rest.front() == '{' ? '}' : ']';
            at = FindOutside(declaration, close, at + 1) + 1;
        } else {
            ++at;
        }
    }
    return declaration.substr(begin);
}

} // namespace xc::win32
