// Runs.h - expressions that read classes and need no automaton all the same: up to fifteen units, each out of one range
// ("[0-9]{4}-[0-9]{2}"), and one class again and again ("[a-z0-9_]+").
#pragma once

#include "match/Plan.h"

#include <memory>

namespace xc::match {

/// Null when the tree (which may be null) has neither form.
[[nodiscard]] std::unique_ptr<Program const> MakeRun(XCRegExSyntaxNode const* root);

} // namespace xc::match
