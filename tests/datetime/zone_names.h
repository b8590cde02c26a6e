// The zones that the tests use: northern, southern, and half an hour without daylight saving.
#pragma once

inline constexpr wchar_t const* kEastern = L"Eastern Standard Time";
inline constexpr wchar_t const* kSydney = L"AUS Eastern Standard Time";
inline constexpr wchar_t const* kIndia = L"India Standard Time";
