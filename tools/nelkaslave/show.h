// Shows a recording to people.
#pragma once

#include <string>
#include <vector>

#include "behave.h"

namespace nelkaslave {

/// A call on one line: time, procedure, arguments, answer, milliseconds. Long texts and blocks are shortened.
std::string readable(const Recorded& recorded);

/// Prints a recording, then a summary of its procedures.
void show(const std::vector<Recorded>& recording);

/// Draws the delays as SVG on standard output. Throws std::runtime_error without gnuplot.
void plot(const std::vector<Recorded>& recording, const std::string& title);

} // namespace nelkaslave
