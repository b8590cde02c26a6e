#include "answers.h"

#include <algorithm>

namespace xc::evidence {

Answer Code(unsigned long code, std::initializer_list<unsigned long> assumed)
{
    bool const asAssumed = std::find(assumed.begin(), assumed.end(), code) != assumed.end();
    return Says(asAssumed, code == 0 ? XCString(L"succeeds") : Text(L"error %lu", code));
}

std::vector<Question> AllQuestions()
{
    std::vector<Question> all;
    for (std::vector<Question> const& some :
         {FileQuestions(), ProcessQuestions(), TimeQuestions(), TextQuestions(), TreeQuestions()})
        all.insert(all.end(), some.begin(), some.end());
    return all;
}

} // namespace xc::evidence
