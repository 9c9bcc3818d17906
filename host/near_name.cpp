#include "host/near_name.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace kvhost {
namespace {

constexpr std::size_t kLongestWord = 64;

// How many letters are to be put in, taken out, replaced or swapped with their neighbour.
std::size_t Distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> before;
    std::vector<std::size_t> last(b.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::vector<std::size_t> row(b.size() + 1, i);
        for (std::size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min({row[j - 1] + 1, last[j] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], before[j - 2] + 1);
            }
        }
        before = std::move(last);
        last = std::move(row);
    }
    return last.back();
}

}  // namespace

std::string NearName(std::string_view word, const std::vector<std::string>& names) {
    if (word.size() > kLongestWord) {
        return {};
    }
    // A third of the letters may be wrong, and one in a short word.
    std::size_t least = std::max<std::size_t>(word.size() / 3, 1) + 1;
    std::string found;
    for (const std::string& name : names) {
        const std::size_t distance = Distance(word, name);
        if (distance < least) {
            least = distance;
            found = name;
        } else if (distance == least) {
            found.clear();
        }
    }
    return found;
}

std::string DescribeExtras(const std::vector<std::string>& extras, const std::vector<std::string>& names) {
    const auto option = std::find_if(extras.begin(), extras.end(),
                                     [](const std::string& text) { return text.starts_with('-'); });
    if (option == extras.end()) {
        return "an argument that belongs to no option";
    }
    const std::string said = option->substr(0, option->find('='));
    const std::string meant = NearName(said, names);
    return "unknown option " + said + (meant.empty() ? "" : "; did you mean " + meant + "?");
}

}  // namespace kvhost
