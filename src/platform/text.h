// Text: display text is UTF-8 in std::string everywhere; wire text is bytes in bounded arrays.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace kvmon {

// printf into a string. The format is always the program's own, never text from outside.
[[gnu::format(printf, 1, 2)]] std::string FormatText(const char* format, ...);
[[gnu::format(printf, 1, 0)]] std::string FormatTextV(const char* format, std::va_list args);

// Conversions to and from UTF-16. What is not valid becomes U+FFFD; neither fails.
std::u16string ToUtf16(std::string_view utf8);
std::string FromUtf16(std::u16string_view utf16);

// True if the bytes are well-formed UTF-8 (no overlong forms, no surrogates).
bool IsValidUtf8(std::string_view bytes);

// Length of a text in UTF-16 units, the unit of all limits told in wide characters.
std::size_t Utf16Length(std::string_view utf8);
// The longest beginning of `utf8` with at most `units` UTF-16 units; never splits a character.
std::string Utf16Left(std::string_view utf8, std::size_t units);
// The same as it stands in `utf8`, what is not valid included. Allocates nothing.
std::string_view Utf16Prefix(std::string_view utf8, std::size_t units);

// The text without any of the given characters at its end.
std::string_view TrimRight(std::string_view text, std::string_view characters);

// A NUL-terminated text of at most N - 1 bytes, in place. What is too long is cut.
template <std::size_t N>
class BoundedText {
public:
    BoundedText() = default;
    BoundedText(std::string_view text) { Assign(text); }  // NOLINT: meant to convert

    BoundedText& operator=(std::string_view text) {
        Assign(text);
        return *this;
    }

    void Assign(std::string_view text) {
        // Stops at a NUL, as the array would.
        text = text.substr(0, text.find('\0'));
        m_length = text.size() < N ? text.size() : N - 1;
        if (m_length > 0) {  // an empty view may have no data at all
            std::memmove(m_data, text.data(), m_length);
        }
        m_data[m_length] = '\0';
    }

    void Clear() { Assign({}); }
    bool IsEmpty() const { return m_length == 0; }
    std::size_t Length() const { return m_length; }
    const char* c_str() const { return m_data; }
    std::string_view View() const { return {m_data, m_length}; }
    std::string Str() const { return std::string(View()); }

    friend bool operator==(const BoundedText& a, const BoundedText& b) { return a.View() == b.View(); }

private:
    char m_data[N] = {};
    std::size_t m_length = 0;
};

}  // namespace kvmon
