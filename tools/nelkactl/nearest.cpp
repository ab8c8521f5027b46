#include "nearest.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

namespace nelkactl {

namespace {

std::string lowercase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// The number of letters to change, add or remove.
std::size_t distance(const std::string& one, const std::string& other)
{
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < one.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < other.size(); ++j) {
            const std::size_t changed = diagonal + (one[i] != other[j]);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

} // namespace

std::string nearest(const std::string& text, const std::vector<std::string>& names)
{
    std::string found;
    std::size_t least = text.size() / 3 + 2;
    for (const std::string& name : names)
        if (const std::size_t letters = distance(lowercase(text), lowercase(name)); letters < least) {
            least = letters;
            found = name;
        }
    return found;
}

} // namespace nelkactl
