#include "MeltaOptions.hpp"

#include "melta/Error.hpp"

#include <charconv>
#include <cmath>

namespace melta {
namespace {

template <class Number>
Number readPositive(const std::string& option, const std::string& word) {
    Number number{};
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size() || !(number > Number{})) {
        throw Error("is no positive number behind " + option + ": " + word);
    }
    return number;
}

} // namespace

MeltaOptions MeltaOptions::read(std::span<const std::string> words) {
    MeltaOptions options;
    for (std::size_t i = 0; i < words.size(); i += 2) {
        const std::string& option = words[i];
        if (option != "spread" && option != "novelty" && option != "warn" && option != "stop") {
            throw Error("is no option of pair_style melta: " + option);
        }
        if (i + 1 == words.size()) {
            throw Error("there is no number behind " + option);
        }
        const std::string& value = words[i + 1];
        if (option == "spread") {
            options.spreadEvery = readPositive<int>(option, value);
        } else if (option == "novelty") {
            options.noveltyEvery = readPositive<int>(option, value);
        } else {
            options.limit = option == "warn" ? Limit::warn : Limit::stop;
            options.largestSpread = readPositive<double>(option, value);
        }
    }
    if (options.limit != Limit::none && options.spreadEvery == 0) {
        throw Error("a limit needs the option spread");
    }
    return options;
}

} // namespace melta
