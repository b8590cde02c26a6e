// Table.h - the match program for any number of states: one look-up a unit in a dense table.
//
// Longer subjects are read in four places at once, from guessed states that are checked afterwards.
//
// A state is the offset of its row, so a step is one addition and one load; the column of a unit is found ahead of the
// chain of states. Cells have 16 bits where the offsets fit.
#pragma once

#include "match/Plan.h"

#include <memory>

namespace xc::match {

std::unique_ptr<Program const> MakeTable(Blueprint const& plan);

} // namespace xc::match
