// UniqueName.h - names that nobody else makes.
#pragma once

#include "win32/SystemPath.h"

#include <string>
#include <string_view>

namespace xc::files {

/// The prefix, 12 letters and digits taken at random, and the suffix.
std::wstring UniqueName(std::wstring_view prefix, std::wstring_view suffix = {});

/// Calls `make` with paths in a folder under unique names until it returns something else than that the name is taken.
template <class Make>
unsigned long MakeUnique(win32::SystemPath const& folder, std::wstring_view prefix, std::wstring_view suffix,
                         win32::SystemPath& made, Make make)
{
    constexpr int kMostTries = 100; // 60 bits at random: one try is enough, unless the answers are wrong
    unsigned long error = 0;
    for (int i = 0; i < kMostTries; ++i) {
        made = folder.Child(UniqueName(prefix, suffix));
        error = make(made);
        if (error != 80 && error != 183) break; // taken, as a file and as a folder
    }
    return error;
}

} // namespace xc::files
