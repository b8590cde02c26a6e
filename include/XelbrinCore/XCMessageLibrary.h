// XCMessageLibrary.h - message texts in files that translators write, one file a language.
//
// WHAT     XCMessageLibrary is the message source over all "<library>.<language>.LAN" files of a folder;
//          XCMessageLibraryFile is one such file, for programs that check translations. docs/message-libraries.md has
//          the format and an example.
// LANGUAGE The language asked for (an empty one: the user's), the context's fallback, the default language. A code that
//          none of them has gives "<library> <code>" and a Bad result.
// SAFETY   The file of the default language is the original. A translation whose conversions are not those of the
//          original, in type and order, is not used: the original's text stands in for it, and GetFaults names file
//          and line. Without an original nothing can be compared; a fault says so.
// COST     Opening reads each file once, some 50 ns a line; the texts stay in the bytes of the file. A look-up searches
//          one sorted array and decodes the text.
// LIFETIME Files are closed when Open returns. Texts are copies.
// ERRORS   A bad line is named with file, line, column and reason, and the good lines count. Bad results come from
//          whole files alone.
// THREADS  All const operations, Reload and Open may be called by many threads at once. Who reads during a Reload is
//          given the old texts or the new ones, never a mixture within one text.
#pragma once

#include <XelbrinCore/XCLineFault.h>
#include <XelbrinCore/XCMessageSource.h>

#include <memory>
#include <string_view>

namespace xc::encoding {
class MessageTable;
} // namespace xc::encoding

/// One file of messages. May be moved, not copied.
class XC_API XCMessageLibraryFile {
public:
    /// Holds nothing.
    XCMessageLibraryFile() noexcept;
    XCMessageLibraryFile(XCMessageLibraryFile&& other) noexcept;
    XCMessageLibraryFile& operator=(XCMessageLibraryFile&& other) noexcept;
    ~XCMessageLibraryFile();

    /// The name that a file must have: "Billing.fra.LAN".
    static XCString GetFileName(XCString const& library, XCString const& language);

    /// Reads a file in place of what was held. Bad, and nothing is held, when it cannot be read
    /// (XCErrMessageFileCannotRead), when its first line is none of such a file, or names another library or language
    /// than the file's name does (XCErrMessageFileMalformed). Lines that are wrong are listed by GetFaults.
    XCErrorID Open(XCString const& path);
    /// The same with bytes that are already there. @param name stands in the faults.
    XCErrorID Read(std::string_view bytes, XCString const& name);
    /// Compares each text with the original's of the same code: the conversions must be equal in type and order, the
    /// numbered inserts equal in number and type. Where they are not, Find answers with the original's text from now
    /// on, and the fault is listed. Returns how many faults it found.
    std::size_t Check(XCMessageLibraryFile const& original);

    /// As the first line names it.
    [[nodiscard]] XCString GetLibrary() const;
    /// The three letters of the first line, in lower case.
    [[nodiscard]] XCString GetLanguage() const;
    /// All codes, in ascending order.
    [[nodiscard]] std::vector<long> GetCodes() const;
    /// Writes the text of a code. False, and `text` as it was, when there is none.
    bool Find(XCString& text, long code) const;
    /// The severity that stands before the text; SeverityError when there is no such code.
    [[nodiscard]] XCErrorI::Severity GetSeverity(long code) const noexcept;
    /// The line, counted from 1, in which a code stands; 0 when there is no such code.
    [[nodiscard]] std::size_t GetLine(long code) const noexcept;
    /// What is wrong: first what was found when reading, then what Check found. At most 1,000 of each; a last one
    /// says when there were more.
    [[nodiscard]] std::vector<XCLineFault> const& GetFaults() const noexcept { return m_faults; }

private:
    XCSmartPtr<xc::encoding::MessageTable> m_table;
    std::vector<XCLineFault> m_faults;
};

/// The message source over the files of one library.
class XC_API XCMessageLibrary : public XCMessageSource {
public:
    /// @param defaultLanguage three letters: the language of the originals.
    explicit XCMessageLibrary(XCString const& defaultLanguage = XCString(L"enu"));
    ~XCMessageLibrary() override;

    /// Reads all files of the library in a folder, in place of what was there. Bad (XCErrMessageLibraryMissing) when
    /// none of them can be used: what was there stays, and GetFaults says why.
    XCErrorID Open(XCString const& folder, XCString const& library);
    /// Reads the files again. A language whose file cannot be read at the moment keeps its texts.
    XCErrorID Reload();
    /// What was wrong in all files when they were last read.
    [[nodiscard]] std::vector<XCLineFault> GetFaults() const;
    /// The severity of a code, as the original has it, else the first language that has the code; SeverityError when
    /// there is none.
    [[nodiscard]] XCErrorI::Severity GetSeverity(long code) const;

    /// Whether there are texts in any language.
    bool IsValid() const override;
    wchar_t const* GetDefaultLanguage() const override;
    /// Bad (XCErrMessageNotFound) when no language has the code; `text` is then "<library> <code>".
    XCErrorID GetText(XCString& text, long code, XCFormatContext const& context) const override;
    XCErrorID GetText(XCString& text, long code, XCFormatContext const& context, char* arguments) const override;
    /// In alphabetical order.
    XCErrorID GetAvailableLanguages(std::vector<XCString>& languages) const override;
    XCErrorID AsString(XCString& text, XCSmartPtrToConst<XCErrorI> const& error,
                       XCFormatContext const& context) const override;

private:
    struct Inside;
    std::unique_ptr<Inside> m_inside;
};
