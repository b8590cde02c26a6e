// BlockLayout.h - a flushed block in the layout of its subscriber.
#pragma once

#include <XelbrinCore/XCLogSubscriber.h>

#include "log/Pattern.h"

#include <memory>
#include <string>
#include <string_view>

namespace xc::log {

struct BlockLayout {
    XCLogLayout layout = XCLogLayout::AsIs;
    std::shared_ptr<Pattern const> pattern; ///< in place of the layout

    [[nodiscard]] bool IsAsIs() const noexcept { return !pattern && layout == XCLogLayout::AsIs; }
};

/// Appends the block as bytes.
void AppendBlock(std::string& to, BlockLayout const& layout, XCString const& channel, int level, XCString const& text);

/// The block between the control sequences of its level's color, the line end after them; empty for a level that is
/// shown as it stands.
std::wstring InColor(int level, std::wstring_view block);

} // namespace xc::log
