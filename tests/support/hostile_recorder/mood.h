// What the recorder is like at present, and what it has done.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "dice.h"

namespace hostile {

// Moods, which may be together.
inline constexpr unsigned kGood = 0;
inline constexpr unsigned kSpoilsStreams = 1;
inline constexpr unsigned kCutsDocuments = 2;
inline constexpr unsigned kReplacesDocuments = 4;
inline constexpr unsigned kSpoilsNotifications = 8;
inline constexpr unsigned kAll = 15;

class Mood {
public:
    explicit Mood(std::uint64_t seed) : m_seed(seed) {}

    void Set(unsigned mood) {
        m_mood = mood;
        ++m_turn;
    }
    bool Is(unsigned mood) const { return (m_mood & mood) != 0; }
    // Counts the changes.
    std::uint64_t Turn() const { return m_turn; }

    // For the next connection of this name.
    Dice DiceFor(const std::string& name) {
        const std::lock_guard lock(m_mutex);
        return {m_seed, name, m_counts[name]++};
    }
    // The same until the mood changes.
    Dice DiceOfTurn() const { return {m_seed, "turn", m_turn}; }
    void CountLie() { ++m_lies; }
    std::uint64_t Lies() const { return m_lies; }

private:
    const std::uint64_t m_seed;
    std::atomic<unsigned> m_mood{kGood};
    std::atomic<std::uint64_t> m_turn{0};
    std::atomic<std::uint64_t> m_lies{0};
    std::mutex m_mutex;
    std::map<std::string, std::uint64_t> m_counts;
};

}  // namespace hostile
