// The content of a module as it leaves the factory.
#pragma once

#include <filesystem>

namespace nelkaslave {

/// Whether a state folder has none yet, or one that was not finished. Throws for a folder that holds something else.
bool needsSample(const std::filesystem::path& folder);

/// Replaces whatever state the folder holds by the sample.
void makeSample(const std::filesystem::path& folder);

} // namespace nelkaslave
