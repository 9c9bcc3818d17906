// A file descriptor that is closed at its end.
#pragma once

#include <unistd.h>

#include <utility>

namespace kvrecorder {

class Descriptor {
public:
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() {
        if (m_number >= 0) {
            ::close(m_number);
        }
    }
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;

    // Below zero if it could not be opened.
    int Get() const { return m_number; }
    int Release() { return std::exchange(m_number, -1); }

private:
    int m_number;
};

}  // namespace kvrecorder
