#include "completion.h"

#include "operations.h"
#include "parameters.h"

namespace nelkactl {

namespace {

struct Candidate {
    std::string text;
    std::string meaning;
};
using Candidates = std::vector<Candidate>;

Candidates valuesOf(const Parameter& parameter)
{
    if (parameter.range == option::output.range)
        return {{":files", ""}};
    if (parameter.range == option::host.range)
        return {{":hosts", ""}};
    if (parameter.range == Reader<bool>::range())
        return {{"0", ""}, {"1", ""}, {"false", ""}, {"true", ""}};
    if (parameter.name == argument::borrar.name)
        return {{"0", "the slave keeps the file"}, {"1", "the slave deletes the file"}};
    if (!parameter.whenAbsent.empty())
        return {{parameter.whenAbsent, parameter.range}};
    return {};
}

Candidates namesOf(const std::vector<Parameter>& options)
{
    Candidates all;
    for (const Parameter& one : options)
        all.push_back({one.name, one.meaning});
    return all;
}

Candidates namesOfOperations()
{
    Candidates all;
    for (const Operation* operation : operations())
        all.push_back({operation->name, operation->gist});
    return all;
}

const Operation* findOperation(const std::string& name)
{
    for (const Operation* operation : operations())
        if (operation->name == name)
            return operation;
    return nullptr;
}

const Parameter* findOption(const std::string& name)
{
    const auto find = [&name](const std::vector<Parameter>& options) -> const Parameter* {
        for (const Parameter& one : options)
            if (one.name == name || (!one.letter.empty() && one.letter == name))
                return &one;
        return nullptr;
    };
    if (const Parameter* const common = find(option::ofEveryOperation))
        return common;
    for (const Operation* operation : operations())
        if (const Parameter* const found = find(operation->options))
            return found;
    return nullptr;
}

// What the words before the last one tell.
struct Context {
    const Operation* operation = nullptr;
    bool named = false; ///< whether an operation is named, known or not
    std::size_t arguments = 0;
    const Parameter* awaitsValue = nullptr;
    bool optionsEnded = false;
};

Context contextOf(const std::vector<std::string>& words)
{
    Context context;
    for (const std::string& word : words) {
        if (context.awaitsValue) {
            context.awaitsValue = nullptr;
        } else if (!context.optionsEnded && word == "--") {
            context.optionsEnded = true;
        } else if (const Parameter* const option = context.optionsEnded ? nullptr : findOption(word)) {
            context.awaitsValue = option->isFlag() ? nullptr : option;
        } else if (!context.optionsEnded && word.starts_with("--")) {
            continue; // --option=value
        } else if (!context.named) {
            context.named = true;
            context.operation = findOperation(word);
        } else {
            ++context.arguments;
        }
    }
    return context;
}

Candidates candidatesFor(const Context& context, const std::string& word)
{
    if (context.awaitsValue)
        return valuesOf(*context.awaitsValue);
    Candidates options = namesOf(context.operation ? context.operation->options : std::vector<Parameter>{});
    if (word.starts_with("-") && !context.optionsEnded) {
        const Candidates common = namesOf(option::ofEveryOperation);
        options.insert(options.end(), common.begin(), common.end());
        return options;
    }
    if (!context.named)
        return namesOfOperations();
    if (context.operation && context.arguments < context.operation->arguments.size())
        return valuesOf(context.operation->arguments[context.arguments]);
    return options;
}

} // namespace

std::string completions(std::vector<std::string> words)
{
    std::string word = words.empty() ? "" : words.back();
    if (!words.empty())
        words.pop_back();
    std::string before;
    if (const std::size_t equals = word.find('='); word.starts_with("--") && equals != std::string::npos) {
        words.push_back(word.substr(0, equals));
        before = word.substr(0, equals + 1);
        word.erase(0, equals + 1);
    }
    std::string lines;
    for (const Candidate& one : candidatesFor(contextOf(words), word)) {
        if (one.text.starts_with(':'))
            lines += one.text + "\n";
        else if (one.text.starts_with(word))
            lines += before + one.text + "\t" + one.meaning + "\n";
    }
    return lines;
}

} // namespace nelkactl
