// log_filter [condition]: which requests of a small log meet a condition that an operator types.
#include <XelbrinCore/XCCondition.h>

#include <cstdio>

namespace {

struct Request {
    int status;
    wchar_t const* path;
    double seconds;
    wchar_t const* user; // null: not logged in
};

constexpr Request kLog[] = {
    {200, L"/index.html", 0.012, nullptr},  {503, L"/api/v1/orders", 4.5, L"ada"},
    {404, L"/api/v1/nothing", 0.2, L"bob"}, {500, L"/reports/2009", 12.25, L"ada"},
    {200, L"/api/v1/users", 1.5, nullptr},
};

/// Hands out the fields of one request, and only those that the condition asks for.
class RequestFields : public XCConditionParams {
public:
    enum Position { Status, Path, Seconds, User };
    RequestFields()
        : XCConditionParams(
              XCSmartPtr<XCConditionSchema>(new XCConditionSchema({L"Status", L"Path", L"Seconds", L"User"})))
    {
    }
    XCConditionValue GetValueAt(std::size_t index) const override
    {
        switch (index) {
        case Status: return request->status;
        case Path: return request->path;
        case Seconds: return request->seconds;
        case User: return request->user; // null: the field is missing
        default: return {};
        }
    }
    Request const* request = nullptr;
};

void Print(char const* label, XCString const& text)
{
    std::printf("%s%s\n", label, text.AsUTF8().c_str());
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    XCCondition condition;
    if (!condition.FromString(count > 1 ? arguments[1] : L"(Status >= 500 OR Seconds > 1.0) AND Path % \"/api/.*\"")) {
        Print("", condition.GetReadError().AsString());
        return 1;
    }
    RequestFields fields;
    XCErrorID const bound = condition.Bind(fields.GetSchema());
    if (bound.Bad()) {
        Print("", bound.AsString());
        return 1;
    }
    Print("condition: ", condition.ToString());
    for (Request const& request : kLog) {
        fields.request = &request;
        if (condition.Evaluate(fields)) Print("    ", request.path);
    }
    return 0;
}
