// Taking lines of RTSP and of descriptions of sessions apart.
#pragma once

#include <algorithm>
#include <charconv>
#include <string_view>

namespace kvrecorder::rtsp {

inline char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The same in any case of letters.
inline bool IsName(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return Lower(x) == Lower(y); });
}

inline std::string_view Trim(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t\r");
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

// What stands before the mark; the text begins behind it afterwards.
inline std::string_view Cut(std::string_view& text, char mark) {
    const std::size_t at = text.find(mark);
    const std::string_view part = text.substr(0, at);
    text.remove_prefix(at == std::string_view::npos ? text.size() : at + 1);
    return part;
}

// At the text's begin; -1 if there is none.
inline int ReadNumber(std::string_view text) {
    int number = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() ? number : -1;
}

}  // namespace kvrecorder::rtsp
