#include "console/settings/fill_pattern.h"

#include <string_view>

namespace kvmon {

std::string FillPattern(const std::string& pattern, std::initializer_list<std::string> texts) {
    std::string filled;
    auto text = texts.begin();
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const bool bPlace = pattern[i] == '%' && i + 1 < pattern.size() &&
                            (pattern[i + 1] == 's' || pattern[i + 1] == 'u' || pattern[i + 1] == 'd');
        if (!bPlace) {
            filled += pattern[i];
            continue;
        }
        ++i;
        if (text != texts.end()) {
            filled += *text++;
        }
    }
    return filled;
}

std::string WithoutName(std::string pattern) {
    // Languages put it in brackets, or behind a comma.
    for (const std::string_view place : {" (%s)", "(%s)", ", %s"}) {
        const std::size_t at = pattern.find(place, pattern.find('%') + 1);
        if (at != std::string::npos) {
            return pattern.erase(at, place.size());
        }
    }
    return pattern;
}

}  // namespace kvmon
