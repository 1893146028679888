#include "MeltaOptions.hpp"

#include "melta/Error.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace melta {
namespace {

bool isOption(const std::string& word) {
    static constexpr std::array<std::string_view, 6> options{"spread", "novelty", "warn",
                                                             "stop",   "dump",    "threads"};
    return std::ranges::find(options, word) != options.end();
}

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
        if (!isOption(option)) {
            throw Error("is no option of pair_style melta: " + option);
        }
        if (i + 1 == words.size()) {
            throw Error(std::string("there is no ") + (option == "dump" ? "file" : "number") + " behind " +
                        option);
        }
        options.take(option, words[i + 1]);
    }
    if (options.limit != Limit::none && options.spreadEvery == 0) {
        throw Error("a limit needs the option spread");
    }
    if (!options.dumpFile.empty() && options.limit == Limit::none) {
        throw Error("the option dump needs warn or stop");
    }
    return options;
}

void MeltaOptions::take(const std::string& option, const std::string& value) {
    if (option == "spread") {
        spreadEvery = readPositive<int>(option, value);
    } else if (option == "novelty") {
        noveltyEvery = readPositive<int>(option, value);
    } else if (option == "threads") {
        threads = readPositive<int>(option, value);
    } else if (option == "dump") {
        dumpFile = value;
    } else {
        limit = option == "warn" ? Limit::warn : Limit::stop;
        largestSpread = readPositive<double>(option, value);
    }
}

} // namespace melta
