// machine.h - a description of this machine, without names of it or its users.
#pragma once

#include <XelbrinCore/XCString.h>
#include <utility>
#include <vector>

namespace xc::evidence {

using Facts = std::vector<std::pair<XCString, XCString>>;

/// Subject and value of each fact; `folder` is the folder of the run, whose file system is told.
Facts DescribeMachine(XCString const& folder);

/// The version of Wine; empty on Windows itself.
XCString WineVersion();

} // namespace xc::evidence
