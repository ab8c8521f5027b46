// The factory content of a module.
#pragma once

#include <filesystem>

namespace nelkaslave {

/// Whether a state folder has no complete content yet. Throws for a folder that holds anything else.
bool needsSample(const std::filesystem::path& folder);

/// Replaces the state in the folder by the sample.
void makeSample(const std::filesystem::path& folder);

} // namespace nelkaslave
