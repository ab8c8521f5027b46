// Short notations for long texts and lists of texts.
#pragma once

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace hostile {

inline std::string many(std::size_t count, std::string_view unit)
{
    std::string all;
    all.reserve(count * unit.size());
    while (count-- > 0)
        all += unit;
    return all;
}

/// The words of a line, plus texts with blanks or without characters.
inline std::vector<std::string> words(const std::string& line, std::vector<std::string> others = {})
{
    std::istringstream in(line);
    for (std::string word; in >> word;)
        others.push_back(word);
    return others;
}

inline std::vector<std::string> betweenBars(const std::string& line)
{
    std::istringstream in(line);
    std::vector<std::string> texts;
    for (std::string text; std::getline(in, text, '|');)
        texts.push_back(text);
    return texts;
}

} // namespace hostile
