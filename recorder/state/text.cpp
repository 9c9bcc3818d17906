#include "state/text.h"

#include <algorithm>

#include "media/utf8.h"

namespace kvrecorder {
namespace {

int Base64Value(char c) {
    if (c >= 'A' && c <= 'Z') {
        return c - 'A';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 26;
    }
    if (c >= '0' && c <= '9') {
        return c - '0' + 52;
    }
    return c == '+' ? 62 : c == '/' ? 63 : -1;
}

int HexValue(char c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

}  // namespace

std::optional<std::string> HexDecode(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        const int high = HexValue(text[i]);
        const int low = HexValue(text[i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<char>(high * 16 + low));
    }
    return text.size() % 2 == 0 ? std::optional(bytes) : std::nullopt;
}

std::optional<std::string> Base64Decode(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size());  // a password must leave no copies where it had to move
    unsigned bits = 0;
    int count = 0;
    bool ended = false;
    for (const char c : text) {
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            continue;
        }
        if (c == '=') {
            ended = true;
            continue;
        }
        const int value = Base64Value(c);
        if (value < 0 || ended) {
            return std::nullopt;
        }
        bits = bits << 6 | static_cast<unsigned>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes.push_back(static_cast<char>(bits >> count & 0xFF));
        }
    }
    return bytes;
}

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
