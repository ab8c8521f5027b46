// What a shell offers while a command line is typed.
#pragma once

#include <string>
#include <vector>

namespace nelkactl {

/// A line for each text that may stand in place of the last of `words`, which begins it: the text, a tab, what it is.
/// ":files" and ":hosts" stand for what the shell knows better.
std::string completions(std::vector<std::string> words);

} // namespace nelkactl
