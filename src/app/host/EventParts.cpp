// An error travels through a log as a text with fields: whoever writes plain text or JSON has its parts, too, and no
// channel needs to know of errors. On the other side the fields are put together again. The text of the record then ends
// with the fields in plain form, which an event has as inserts already: it is cut off there.
#include "app/host/EventParts.h"

#include <XelbrinCore/XCMessageSource.h>

#include "log/RecordFields.h"

#include <algorithm>

namespace xc::host {

namespace {

constexpr unsigned long kCodeBits = 0xFFFF; // the part of an identifier that the code is
constexpr std::wstring_view kLibrary = L"XelbrinCore";
constexpr std::wstring_view kSeverities[] = {L"information", L"error", L"warning", L"fatal"};

XCLogField const* Find(std::span<XCLogField const> fields, std::wstring_view name)
{
    auto const found =
        std::ranges::find_if(fields, [name](XCLogField const& field) { return field.GetName().View() == name; });
    return found == fields.end() ? nullptr : &*found;
}

/// Codes of the library mean what its own message source says, whatever the program's codes mean.
bool IsOfLibrary(XCErrorI const& error)
{
    return error.IsKindOf(XCError::kIUID) && static_cast<XCError const&>(error).GetFormatter() == glbXCOREMsgSourceP;
}

win32::EventType TypeOf(int level) noexcept
{
    if (level < XCLogWarning) return win32::EventType::Error;
    return level == XCLogWarning ? win32::EventType::Warning : win32::EventType::Information;
}

std::wstring WithoutLineEnd(std::wstring_view text)
{
    while (text.ends_with(L'\n') || text.ends_with(L'\r')) text.remove_suffix(1);
    return std::wstring(text);
}

std::wstring WithoutFields(std::wstring_view text, std::span<XCLogField const> fields)
{
    std::wstring message = WithoutLineEnd(text), plain;
    log::AppendFields(plain, fields);
    if (message.ends_with(plain)) message.resize(message.size() - plain.size());
    return message;
}

} // namespace

std::vector<XCLogField> FieldsOf(XCErrorI const& error)
{
    std::vector<XCLogField> fields;
    fields.emplace_back(L"code", error.GetCode());
    fields.emplace_back(L"severity", kSeverities[error.GetSeverity()]);
    if (IsOfLibrary(error)) fields.emplace_back(L"source", kLibrary);
    for (std::size_t i = 0; i < error.GetParameterCount(); ++i) {
        XCString name;
        name.Format(L"arg%zu", i + 1);
        fields.emplace_back(name.View(), error.GetParameterValueAsString(i, XCExecContext()));
    }
    return fields;
}

win32::Event EventOf(int level, std::wstring_view text, std::span<XCLogField const> fields, unsigned long idBase)
{
    // Both, since a program's own fields may be called "code".
    XCLogField const* const code = Find(fields, L"code");
    if (!code || !Find(fields, L"severity"))
        return {TypeOf(level), XCEventLogSubscriber::kTextEvent, {WithoutLineEnd(text)}};
    auto const number = static_cast<unsigned long>(code->GetValue().AsInt());
    XCLogField const* const source = Find(fields, L"source");
    bool const isOfLibrary = source && source->GetValue().View() == kLibrary;
    unsigned long const base = isOfLibrary ? XCEventLogSubscriber::kLibraryErrors : idBase;
    win32::Event event{TypeOf(level), base + (number & kCodeBits), {}};
    for (XCLogField const& field : fields)
        if (field.GetName().View().starts_with(L"arg")) event.inserts.emplace_back(field.GetValue().View());
    event.inserts.push_back(WithoutFields(text, fields));
    return event;
}

} // namespace xc::host
