// The message source over the files of a library.
//
// What all languages say is one constant object. Readers pin it (PinnedState.h); opening and reloading build the next one
// aside and exchange them. A file that cannot be read at a reload is mostly one that is being written: its language keeps
// the table it had, which is counted for this. Every table is compared with that of the default language before anybody
// sees it, so that a look-up never has to ask whether a text is safe.
#include "encoding/MessageTable.h"
#include "encoding/PinnedState.h"
#include "errors/CoreError.h"
#include "errors/SourceText.h"
#include "text/NumberText.h"
#include "win32/FileSystem.h"
#include "win32/LocaleFacts.h"

#include <XelbrinCore/XCMessageLibrary.h>

#include <algorithm>

namespace xc::encoding {

namespace {

/// Three letters as a number, whatever their case; 0 for anything else.
/// A number, so that a look-up compares no texts: every message asks for up to three languages.
std::uint32_t LanguageKey(wchar_t const* language) noexcept
{
    std::uint32_t key = 0;
    for (int i = 0; i < 3; ++i) {
        wchar_t const unit = language[i];
        bool const isUpper = unit >= L'A' && unit <= L'Z';
        if (!isUpper && (unit < L'a' || unit > L'z')) return 0;
        key = key << 8 | static_cast<std::uint32_t>(isUpper ? unit - L'A' + L'a' : unit);
    }
    return language[3] == L'\0' ? key : 0;
}

} // namespace

/// The texts of one language.
struct Language {
    std::uint32_t key;
    XCSmartPtrToConst<MessageTable> table;
};

/// What readers see.
struct Library {
    [[nodiscard]] MessageTable const* Find(std::uint32_t key) const noexcept
    {
        // A library has a handful of languages; walking them costs less than any table.
        for (Language const& language : languages)
            if (language.key == key) return language.table;
        return nullptr;
    }

    XCString folder;
    XCString name;
    std::vector<Language> languages; ///< in alphabetical order
    std::vector<XCLineFault> faults;
};

namespace {

/// A library's name becomes part of file names and of a search.
/// Signs of a path would lead out of the folder, and those of a pattern find files of other libraries.
bool IsUsableName(XCString const& name) noexcept
{
    return !name.IsNull() && name.View().find_first_of(L"\\/:*?\"<>| \t") == std::wstring_view::npos &&
           name.View().find(L'\0') == std::wstring_view::npos;
}

/// The language of a file's name; 0 when the name is of another form. The system's search finds longer endings, too.
std::uint32_t LanguageOfFile(std::wstring const& file, XCString const& library)
{
    XCString const name{std::wstring_view(file)};
    if (name.Length() != library.Length() + 8) return 0;
    XCString const language = name.SubStr(library.Length() + 1, 3);
    bool const isOurs = name.IsEqual(XCMessageLibraryFile::GetFileName(library, language), 1);
    return isOurs ? LanguageKey(language.AsWChar()) : 0;
}

/// Reads all languages that a folder has files of.
class Loader {
public:
    Loader(Library& next, std::uint32_t original) noexcept : m_next(next), m_original(original) {}

    /// @param last keeps the tables of files that cannot be read now; may be null.
    XCErrorID Load(Library const* last)
    {
        win32::SystemPath const folder{std::wstring_view(m_next.folder.View())};
        std::vector<win32::FolderEntry> entries;
        unsigned long const error = win32::ListFolder(folder, std::wstring(m_next.name.View()) + L".*.LAN", entries);
        for (win32::FolderEntry const& entry : entries) {
            std::uint32_t const key = error == 0 && !entry.isFolder ? LanguageOfFile(entry.name, m_next.name) : 0;
            if (key != 0) AddFile(key, XCString(folder.Child(entry.name).Text()), last);
        }
        CheckAll();
        std::sort(m_next.languages.begin(), m_next.languages.end(),
                  [](Language const& a, Language const& b) { return a.key < b.key; });
        if (!m_next.languages.empty()) return XCErrorID::Success;
        XCString const wanted = XCMessageLibraryFile::GetFileName(m_next.name, XCString(L"*"));
        return errors::MakeCoreError(XCErrMessageLibraryMissing, XCString(folder.Child(wanted.View()).Text()));
    }

private:
    // Kept tables were compared with the original of their time, which they hold themselves.
    void AddFile(std::uint32_t key, XCString const& path, Library const* last)
    {
        XCSmartPtr<MessageTable> table;
        if (MessageTable::Open(path, table, m_next.faults).Good())
            m_read.push_back({key, table});
        else if (MessageTable const* const kept = last ? last->Find(key) : nullptr)
            m_next.languages.push_back({key, kept});
    }

    void CheckAll()
    {
        // The default language may have been kept as well; otherwise it is among those that were read.
        XCSmartPtrToConst<MessageTable> original(m_next.Find(m_original));
        for (auto const& [key, table] : m_read)
            if (key == m_original) original = table;
        if (original.IsNull() && !m_read.empty())
            m_next.faults.push_back({m_next.name, 0, 0, L"there is no file of the default language to compare with"});
        for (auto const& [key, table] : m_read) {
            // Before the table is handed to readers: Check is the one call that changes a table.
            if (!original.IsNull() && key != m_original) table->Check(original, m_next.faults);
            m_next.languages.push_back({key, table});
        }
    }

    struct Read {
        std::uint32_t key;
        XCSmartPtr<MessageTable> table;
    };
    Library& m_next;
    std::uint32_t m_original;
    std::vector<Read> m_read;
};

} // namespace

} // namespace xc::encoding

using xc::encoding::IsUsableName;
using xc::encoding::Language;
using xc::encoding::LanguageKey;
using xc::encoding::Library;
using xc::encoding::Loader;
using xc::encoding::MessageTable;
using Pin = xc::encoding::PinnedState<Library>::Pin;

struct XCMessageLibrary::Inside {
    explicit Inside(XCString const& language)
        : defaultLanguage(language), defaultKey(LanguageKey(language.AsWChar())), library(std::make_unique<Library>())
    {
    }

    XCErrorID Load(XCString const& folder, XCString const& name, bool again)
    {
        auto next = std::make_unique<Library>();
        next->folder = folder;
        next->name = name;
        XCErrorID result;
        {
            Pin const last(library);
            result = Loader(*next, defaultKey).Load(again ? &*last : nullptr);
            if (result.Bad()) { // the texts stay, and what is wrong is told
                std::vector<XCLineFault> faults = std::move(next->faults);
                *next = *last;
                next->faults = std::move(faults);
            }
        }
        // Waits until no reader has the old library pinned, and so comes after the pin of this thread has gone.
        library.Exchange(std::move(next));
        return result;
    }

    /// The first language of those that a context asks for in which `use` finds the code.
    template <class Use>
    bool InEachLanguage(Library const& from, XCFormatContext const& context, Use use) const
    {
        auto const has = [&](std::uint32_t key) {
            MessageTable const* const table = key != 0 ? from.Find(key) : nullptr;
            return table && use(*table);
        };
        // The order is the caller's wish or the user's, the fallback of the call, and the default of the library.
        wchar_t const* const asked = context.GetLanguage();
        return has(*asked != L'\0' ? LanguageKey(asked) : userKey) || has(LanguageKey(context.GetFallbackLanguage())) ||
               has(defaultKey);
    }

    XCString const defaultLanguage;
    std::uint32_t const defaultKey;
    // Asked once: the language of a user does not change under a server.
    std::uint32_t const userKey = LanguageKey(xc::win32::ReadUserLanguage().c_str());
    xc::encoding::PinnedState<Library> library;
};

XCMessageLibrary::XCMessageLibrary(XCString const& defaultLanguage)
    : m_inside(std::make_unique<Inside>(defaultLanguage))
{
}
XCMessageLibrary::~XCMessageLibrary() = default;

XCErrorID XCMessageLibrary::Open(XCString const& folder, XCString const& library)
{
    if (!IsUsableName(library)) return xc::errors::MakeCoreError(XCErrMessageLibraryMissing, library);
    return m_inside->Load(folder, library, false);
}

XCErrorID XCMessageLibrary::Reload()
{
    // Copied and unpinned: the exchange waits for all pins, one of this thread included.
    XCString folder;
    XCString name;
    {
        Pin const last(m_inside->library);
        folder = last->folder;
        name = last->name;
    }
    if (name.IsNull()) return xc::errors::MakeCoreError(XCErrMessageLibraryMissing, name); // never opened
    return m_inside->Load(folder, name, true);
}

std::vector<XCLineFault> XCMessageLibrary::GetFaults() const
{
    return Pin(m_inside->library)->faults;
}

XCErrorI::Severity XCMessageLibrary::GetSeverity(long code) const
{
    Pin const library(m_inside->library);
    auto const in = [code](MessageTable const* table, XCErrorI::Severity& severity) {
        std::size_t const index = table ? table->Find(code) : MessageTable::npos;
        if (index == MessageTable::npos) return false;
        severity = static_cast<XCErrorI::Severity>(table->Severity(index));
        return true;
    };
    XCErrorI::Severity severity = XCErrorI::SeverityError;
    // The severity belongs to the code and not to a language, so the original decides; the others answer for codes that
    // it lost.
    bool found = in(library->Find(m_inside->defaultKey), severity);
    for (Language const& language : library->languages) found = found || in(language.table, severity);
    return severity;
}

bool XCMessageLibrary::IsValid() const
{
    return !Pin(m_inside->library)->languages.empty();
}

wchar_t const* XCMessageLibrary::GetDefaultLanguage() const
{
    return m_inside->defaultLanguage.AsWChar();
}

XCErrorID XCMessageLibrary::GetText(XCString& text, long code, XCFormatContext const& context) const
{
    Pin const library(m_inside->library);
    bool const found =
        m_inside->InEachLanguage(*library, context, [&](MessageTable const& table) { return table.Get(text, code); });
    if (found) return XCErrorID::Success;
    // No text is no reason to show nothing: the name and the number let a reader look the message up.
    text = library->name;
    if (!text.IsNull()) text += L' ';
    text += xc::text::NumberText(code);
    return xc::errors::MakeCoreError(XCErrMessageNotFound, code);
}

XCErrorID XCMessageLibrary::GetText(XCString& text, long code, XCFormatContext const& context, char* arguments) const
{
    return xc::errors::TextWithArguments(*this, text, code, context, arguments);
}

XCErrorID XCMessageLibrary::GetAvailableLanguages(std::vector<XCString>& languages) const
{
    languages.clear();
    Pin const library(m_inside->library);
    for (Language const& language : library->languages) languages.push_back(language.table->GetLanguage());
    return XCErrorID::Success;
}

XCErrorID XCMessageLibrary::AsString(XCString& text, XCSmartPtrToConst<XCErrorI> const& error,
                                     XCFormatContext const& context) const
{
    return xc::errors::TextOfError(*this, text, error, context);
}
