// XCMessageSource.h - where the texts of error codes come from.
//
// WHAT     A message source turns a code into text, in the language that a format context asks for. The same code may
//          mean different texts in different sources; every XCError holds the source of its code.
//
//              XCInRAMMessageSource    texts added at run time; one language
//              RCStringTableMsgSource  the string table of a loaded module; the module's own language
//              RCMessageTableSource    the message table of a loaded module, or the system's own texts; any language
//              glbXCOREMsgSourceP      the library's own message table: English and French
//
// TEXTS    Message texts are printf formats (XCString::Format has the rules): their conversions take an error's
//          parameters in order. A percent sign is written "%%" in a text that is used with parameters.
// LANGUAGE The language asked for, then the context's fallback, then the language the system chooses.
// THREADS  All const operations may be called by many threads at once. Add texts before others read.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

#include <map>
#include <vector>

/// The interface of message sources.
class XC_API XCMessageSource : public XCRefCount {
public:
    ~XCMessageSource() override;
    /// Whether the source can deliver texts.
    virtual bool IsValid() const = 0;
    /// A three-letter language code; never null.
    virtual wchar_t const* GetDefaultLanguage() const = 0;
    /// The plain text of a code, conversions and all.
    virtual XCErrorID GetText(XCString& text, long code, XCFormatContext const& context) const = 0;
    /// The text of a code, its conversions filled from a variable argument list (the platform's va_list). Null: the
    /// plain text. Cut after 3,000 units. As with printf, the arguments must fit the conversions: where texts are not
    /// under your control take XCErrorWithArgs, whose parameters know their type. Always Good.
    virtual XCErrorID GetText(XCString& text, long code, XCFormatContext const& context, char* arguments) const = 0;
    /// Replaces `languages` by the three-letter codes of the languages that the source has texts in.
    virtual XCErrorID GetAvailableLanguages(std::vector<XCString>& languages) const = 0;
    /// An error's full text: the text of its code, conversions filled from its parameters. A null error: an empty text.
    /// The source does not keep the error.
    virtual XCErrorID AsString(XCString& text, XCSmartPtrToConst<XCErrorI> const& error,
                               XCFormatContext const& context) const = 0;

protected:
    constexpr XCMessageSource() noexcept = default;
};

/// Texts kept in memory. "This message cannot be found" for a code that was not added; that is no failure.
class XC_API XCInRAMMessageSource : public XCMessageSource {
public:
    /// @param language of the texts that will be added.
    explicit XCInRAMMessageSource(XCString language = XCString(L"enu"));
    ~XCInRAMMessageSource() override;

    /// A code that is already there gets the new text.
    void Add(long code, XCString const& text);

    bool IsValid() const override;
    wchar_t const* GetDefaultLanguage() const override;
    XCErrorID GetText(XCString& text, long code, XCFormatContext const& context) const override;
    XCErrorID GetText(XCString& text, long code, XCFormatContext const& context, char* arguments) const override;
    XCErrorID GetAvailableLanguages(std::vector<XCString>& languages) const override;
    XCErrorID AsString(XCString& text, XCSmartPtrToConst<XCErrorI> const& error,
                       XCFormatContext const& context) const override;

private:
    std::map<long, XCString> m_texts;
    XCString m_language;
};

/// The base of sources over the resources of a loaded module. The source does not hold the module: it must stay loaded
/// while texts are asked for. An error, and an exception that carries one, makes its text when it is first asked for;
/// whoever unloads a module asks for the texts of its errors before.
class XC_API RCMessageSource : public XCMessageSource {
public:
    ~RCMessageSource() override;

    /// The system's language identifier of a three-letter code, whatever its case: enu 1033, fra 1036, nld 1043,
    /// deu 1031, jpn 1041, kor 1042, ptb 1046, esp 1034, esm 2058. Anything else, null included: 1024, which leaves
    /// the choice to the system.
    static long GetLanguageID(wchar_t const* language) noexcept;
    /// The module whose resources are read. Null: the program in RCStringTableMsgSource, the operating system in
    /// RCMessageTableSource. Not owned.
    [[nodiscard]] void* GetModule() const noexcept { return m_module; }

    bool IsValid() const override;
    /// "enu".
    wchar_t const* GetDefaultLanguage() const override;
    /// Bad (XCErrMessageNotFound) when there is no text in any of the languages; `text` is then what RetrieveMessage
    /// leaves.
    XCErrorID GetText(XCString& text, long code, XCFormatContext const& context) const override;
    XCErrorID GetText(XCString& text, long code, XCFormatContext const& context, char* arguments) const override;
    XCErrorID GetAvailableLanguages(std::vector<XCString>& languages) const override;
    XCErrorID AsString(XCString& text, XCSmartPtrToConst<XCErrorI> const& error,
                       XCFormatContext const& context) const override;

protected:
    /// @param module a module handle; the derived class says what null means.
    constexpr explicit RCMessageSource(void* module) noexcept : m_module(module) {}

    /// Fetches one text in one language; true when there is one.
    virtual bool RetrieveMessage(XCString& text, long id, long language) const = 0;
    bool RetrieveMessage(XCString& text, long id, wchar_t const* language) const;
    /// Whether RetrieveMessage would succeed; asked, silently, for the languages before the last resort. True by
    /// default: the language asked for is the only one that is tried.
    virtual bool HasMessage(long id, long language) const;
    /// The identifiers of the languages in the module's resources of the source's kind; none by default.
    virtual std::vector<long> GetLanguageIDs() const;

private:
    void* m_module;
};

/// Texts of a module's string table, in the module's own language. Texts above 499 units are cut; a missing one is
/// empty.
class XC_API RCStringTableMsgSource : public RCMessageSource {
public:
    /// @param module null is the program itself.
    explicit RCStringTableMsgSource(void* module) noexcept : RCMessageSource(module) {}
    ~RCStringTableMsgSource() override;
    /// Whether the module has a string table.
    bool IsValid() const override;

protected:
    using RCMessageSource::RetrieveMessage;
    bool RetrieveMessage(XCString& text, long id, long language) const override;
    std::vector<long> GetLanguageIDs() const override;
};

/// Texts of a module's message table, or the system's own when the module is null; as they stand there, a line end
/// included. A text that is missing in every language is "Internal Error in RCMessageTableSource::RetrieveMessage", and
/// a line on standard output says so.
class XC_API RCMessageTableSource : public RCMessageSource {
public:
    /// @param module the module whose table is read; null is the operating system. Not owned.
    constexpr explicit RCMessageTableSource(void* module = nullptr) noexcept : RCMessageSource(module) {}
    ~RCMessageTableSource() override;
    /// Whether the module has a message table.
    bool IsValid() const override;

protected:
    using RCMessageSource::RetrieveMessage;
    bool RetrieveMessage(XCString& text, long id, long language) const override;
    bool HasMessage(long id, long language) const override;
    std::vector<long> GetLanguageIDs() const override;
};

/// The source of the library's own codes (XCCoreError): the message table of the DLL. Answers from the first
/// instruction of the process on, before any other object is built, and to the last.
extern XC_API XCSmartPtrToConst<XCMessageSource> const glbXCOREMsgSourceP;
