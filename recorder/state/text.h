// Small operations on text that came from a peer or a file.
#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvrecorder {

// Takes the same time wherever the two differ.
bool ConstantTimeEqual(std::string_view a, std::string_view b);

// The same text with brackets that begin no markup, as clients find tags by their letters alone.
std::string MarkupFree(std::string_view text);

// UTF-8 without control characters, so that it can stand in a line of a document.
bool IsDisplayText(std::string_view text);

// Printable ASCII without blanks, as fixed columns of the documents need it.
bool IsColumnText(std::string_view text);

std::string_view Trim(std::string_view text);

// The words of a line, parted by blanks.
std::vector<std::string_view> Words(std::string_view line);

// A whole decimal number from `low` to `high`.
template <std::integral Number>
std::optional<Number> ParseNumber(std::string_view text, Number low, Number high) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < low || value > high) {
        return std::nullopt;
    }
    return value;
}

}  // namespace kvrecorder
