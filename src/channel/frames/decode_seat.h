// The decode thread's seat while it has nothing to do.
#pragma once

#include <mutex>

namespace kvmon {

// Who receives a frame that the sleeping decode thread would be woken for decodes it in that one's place: one
// wake-up less for a picture, and the frame's bytes are at hand. Any thread; nobody waits here but Leave.
class DecodeSeat {
public:
    class Sitter {
    public:
        virtual ~Sitter() = default;
        // Decodes the frame that waits. False: the thread has to do it, and what is to come.
        virtual bool DecodeInPlace() noexcept = 0;
    };

    // The decode thread is about to sleep. Until Leave its decoder may be used.
    void Take(Sitter& sitter) {
        // Somebody who still decodes for a thread that was given up must not stop the next one.
        if (const std::unique_lock lock(m_mutex, std::try_to_lock); lock) {
            m_sitter = &sitter;
        }
    }
    // It woke. Waits for a picture that is being decoded.
    void Leave(const Sitter& sitter) {
        const std::lock_guard lock(m_mutex);
        if (m_sitter == &sitter) {
            m_sitter = nullptr;
        }
    }
    // False if the decode thread has to be woken.
    bool Decode() {
        const std::unique_lock lock(m_mutex, std::try_to_lock);
        if (!lock || m_sitter == nullptr) {
            return false;
        }
        if (!m_sitter->DecodeInPlace()) {
            m_sitter = nullptr;
            return false;
        }
        return true;
    }

private:
    std::mutex m_mutex;  // held while somebody decodes
    Sitter* m_sitter = nullptr;
};

}  // namespace kvmon
