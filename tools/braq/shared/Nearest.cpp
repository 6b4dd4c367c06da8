#include "tools/braq/shared/Nearest.h"

#include <algorithm>
#include <cstddef>

namespace {

/// Letters that are missing, too many, wrong or swapped: the optimal string alignment distance.
std::size_t mistakes(std::string_view typed, std::string_view word) {
    std::vector<std::vector<std::size_t>> fewest(typed.size() + 1, std::vector<std::size_t>(word.size() + 1));
    for (std::size_t i = 0; i <= typed.size(); ++i) {
        for (std::size_t j = 0; j <= word.size(); ++j) {
            if (i == 0 || j == 0) {
                fewest[i][j] = i + j;
                continue;
            }
            const std::size_t wrong = typed[i - 1] == word[j - 1] ? 0 : 1;
            fewest[i][j] = std::min({fewest[i - 1][j] + 1, fewest[i][j - 1] + 1, fewest[i - 1][j - 1] + wrong});
            if (i > 1 && j > 1 && typed[i - 1] == word[j - 2] && typed[i - 2] == word[j - 1]) {
                fewest[i][j] = std::min(fewest[i][j], fewest[i - 2][j - 2] + 1);
            }
        }
    }
    return fewest[typed.size()][word.size()];
}

} // namespace

std::optional<std::string> nearest(std::string_view typed, const std::vector<std::string>& words) {
    constexpr std::size_t mostMistakes = 2;
    const auto beginsSo = [&](const std::string& word) { return !typed.empty() && word.starts_with(typed); };
    if (std::ranges::count_if(words, beginsSo) == 1) {
        return *std::ranges::find_if(words, beginsSo);
    }
    const auto found =
        std::ranges::min_element(words, {}, [&](const std::string& word) { return mistakes(typed, word); });
    if (found == words.end()) {
        return std::nullopt;
    }
    const std::size_t made = mistakes(typed, *found);
    return made <= mostMistakes && made < std::min(typed.size(), found->size()) ? std::optional(*found) : std::nullopt;
}
