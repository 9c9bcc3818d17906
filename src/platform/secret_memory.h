// Memory that held a password and is wiped when it ends.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

#include "platform/text.h"

namespace kvmon {

// All that the text has held, also behind its end.
inline void Wipe(std::string& text) {
    text.resize(text.capacity());
    ::explicit_bzero(text.data(), text.size());
    text.clear();
}

// Wipes a text of the caller's at the end of a block, whichever way it is left.
class WipeAtEnd {
public:
    explicit WipeAtEnd(std::string& text) : m_text(text) {}
    ~WipeAtEnd() { Wipe(m_text); }
    WipeAtEnd(const WipeAtEnd&) = delete;
    WipeAtEnd& operator=(const WipeAtEnd&) = delete;

private:
    std::string& m_text;
};

// A bounded text whose place is wiped with it.
template <std::size_t N>
class SecretText : public BoundedText<N> {
public:
    using BoundedText<N>::BoundedText;
    using BoundedText<N>::operator=;
    SecretText() = default;
    SecretText(const SecretText&) = default;
    SecretText& operator=(const SecretText&) = default;
    ~SecretText() { ::explicit_bzero(static_cast<void*>(this), sizeof(*this)); }
};

}  // namespace kvmon
