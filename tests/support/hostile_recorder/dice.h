// Numbers that look random and are the same for the same seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace hostile {

class Dice {
public:
    // What happens to the `count`th connection of this name is told by the seed, whatever happens to others.
    Dice(std::uint64_t seed, std::string_view name, std::uint64_t count)
        : m_state(seed * 0x9E3779B97F4A7C15 + count) {
        for (const char c : name) {
            m_state = (m_state ^ static_cast<unsigned char>(c)) * 0x100000001B3;
        }
    }

    std::uint64_t Next() {
        m_state += 0x9E3779B97F4A7C15;
        std::uint64_t z = m_state;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
        return z ^ (z >> 31);
    }
    // From 0 to below `end`; 0 if there is nothing below it.
    std::size_t Below(std::size_t end) { return end == 0 ? 0 : static_cast<std::size_t>(Next() % end); }
    bool OneIn(std::size_t n) { return Below(n) == 0; }
    template <typename T, std::size_t N>
    const T& Of(const T (&values)[N]) {
        return values[Below(N)];
    }

private:
    std::uint64_t m_state;
};

}  // namespace hostile
