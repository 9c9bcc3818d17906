#include "state/text.h"

#include <algorithm>

#include "media/utf8.h"

namespace kvrecorder {

bool ConstantTimeEqual(std::string_view a, std::string_view b) {
    std::size_t difference = a.size() ^ b.size();
    // Walks the peer's text whole, however long the secret is.
    for (std::size_t i = 0; i < a.size(); ++i) {
        const char other = b.empty() ? '\0' : b[i % b.size()];
        difference |= static_cast<std::size_t>(static_cast<unsigned char>(a[i] ^ other));
    }
    return difference == 0;
}

bool IsDisplayText(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = CharacterLength(text);
        const auto first = static_cast<unsigned char>(text[0]);
        if (length == 0 || first < 0x20 || first == 0x7F) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

bool IsColumnText(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7F; });
}

std::string_view Trim(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

std::vector<std::string_view> Words(std::string_view line) {
    std::vector<std::string_view> words;
    for (line = Trim(line); !line.empty(); line = Trim(line)) {
        const std::size_t end = std::min(line.find_first_of(" \t"), line.size());
        words.push_back(line.substr(0, end));
        line.remove_prefix(end);
    }
    return words;
}

std::string MarkupFree(std::string_view text) {
    std::string out;
    for (const char c : text) {
        out += c == '<' ? "\xE2\x80\xB9" : c == '>' ? "\xE2\x80\xBA" : std::string(1, c);
    }
    return out;
}

}  // namespace kvrecorder
