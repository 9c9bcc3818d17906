// Text that is wiped out of memory once it is not needed.
#pragma once

#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace kvrecorder {

inline void Wipe(std::string& text) noexcept {
    text.resize(text.capacity());  // also what stood there before
    ::explicit_bzero(text.data(), text.size());
    text.clear();
}

// Adds to a text without leaving its beginning behind where it had to move.
inline void AppendSecret(std::string& text, std::string_view more) {
    if (text.size() + more.size() > text.capacity()) {
        std::string larger;
        larger.reserve(2 * (text.size() + more.size()));
        larger = text;
        Wipe(text);
        text.swap(larger);
    }
    text += more;
}

// A password. Copies are wiped too, each at its own end.
class Secret {
public:
    Secret() = default;
    Secret(std::string_view text) : m_text(text) {}    // NOLINT: meant to convert
    Secret(const char* text) : m_text(text) {}         // NOLINT: meant to convert
    Secret(const std::string& text) : m_text(text) {}  // NOLINT: meant to convert
    Secret(const Secret& other) = default;
    Secret(Secret&& other) noexcept : m_text(std::move(other.m_text)) { Wipe(other.m_text); }
    Secret& operator=(Secret other) noexcept {
        m_text.swap(other.m_text);
        return *this;
    }
    ~Secret() { Wipe(m_text); }

    std::string_view View() const { return m_text; }
    bool Empty() const { return m_text.empty(); }

    friend bool operator==(const Secret& a, std::string_view b) { return a.m_text == b; }

private:
    std::string m_text;
};

}  // namespace kvrecorder
