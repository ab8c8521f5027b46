// Completion of a command line, for shells.
#pragma once

#include <string>
#include <vector>

namespace nelkactl {

/// One line per completion of the last of `words`: the text, a tab, its meaning. ":files" and ":hosts" ask the shell to
/// complete these.
std::string completions(std::vector<std::string> words);

} // namespace nelkactl
