// XCFormatContext.h - for whom a text is made: the reader's language and time zone.
//
// WHAT     Two small values that the makers of texts take: XCFormatContext, and XCExecContext, which adds one pointer of
//          the caller's own.
// COST     Copying copies some 50 bytes; nothing allocates.
// THREADS  As for an int: many readers, or one writer.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCTimeZone.h>

#include <cstddef>

/// The reader's language and time zone, for whoever makes a text. A small value.
class XC_API XCFormatContext {
public:
    /// The longest language text that is kept, in units; longer ones are cut.
    static constexpr std::size_t kMaxLanguage = 7;

    /// @param language         three-letter code of the language asked for ("enu", "fra"; RCMessageSource has the list).
    ///                         Empty or null: the language the system chooses for the user.
    /// @param fallbackLanguage asked next, where a text does not exist in the first one; then the system's choice.
    /// @param zone             dates are written in this zone; copied. Null means UTC.
    constexpr explicit XCFormatContext(wchar_t const* language = nullptr, wchar_t const* fallbackLanguage = L"enu",
                                       XCTimeZone const* zone = nullptr) noexcept
        : m_zone(zone ? *zone : XCTimeZone())
    {
        Keep(m_language, language);
        Keep(m_fallbackLanguage, fallbackLanguage);
    }

    /// The three-letter code asked for first; empty: the user's language.
    [[nodiscard]] wchar_t const* GetLanguage() const noexcept { return m_language; }
    /// The three-letter code asked for next.
    [[nodiscard]] wchar_t const* GetFallbackLanguage() const noexcept { return m_fallbackLanguage; }
    /// The zone that dates are written in.
    [[nodiscard]] XCTimeZone const& GetTimeZone() const noexcept { return m_zone; }

    /// The user's language, then English; UTC. Usable from the first instruction of the process on.
    static XCFormatContext const defaultContext;

private:
    static constexpr void Keep(wchar_t (&field)[kMaxLanguage + 1], wchar_t const* text) noexcept
    {
        for (std::size_t i = 0; text && i < kMaxLanguage && text[i] != L'\0'; ++i) field[i] = text[i];
    }

    wchar_t m_language[kMaxLanguage + 1]{};
    wchar_t m_fallbackLanguage[kMaxLanguage + 1]{};
    XCTimeZone m_zone;
};

/// A format context and one pointer of the caller's own. A small value.
class XC_API XCExecContext {
public:
    /// Keeps the context and the pointer. @param extraInfo the caller's own, never owned.
    explicit XCExecContext(XCFormatContext const& context = XCFormatContext::defaultContext,
                           void* extraInfo = nullptr) noexcept
        : m_context(context), m_extraInfo(extraInfo)
    {
    }
    /// Language and zone; lives as long as this object.
    [[nodiscard]] XCFormatContext const& GetFormatContext() const noexcept { return m_context; }
    /// Language and zone; lives as long as this object.
    [[nodiscard]] XCFormatContext const* GetFormatContextP() const noexcept { return &m_context; }
    /// Never looked at by the library.
    [[nodiscard]] void* GetExtraInfoP() const noexcept { return m_extraInfo; }

private:
    XCFormatContext m_context;
    void* m_extraInfo;
};
