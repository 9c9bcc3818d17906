// What is counted of a channel's frames on their way to the screen.
#pragma once

#include <atomic>
#include <cstdint>

namespace kvmon {

// Any thread, unless a comment names one.
struct ChannelCounters {
    // Counts a frame. True, once in each 5 s, when frames come and for 5 s none became a picture: the user is
    // to be told. Reception thread.
    bool HasNoneDecoded(std::uint64_t nowMs);
    void NoteDecoded() {
        ++m_nDecoded;
        ForgetUndecoded();
    }
    // A sign that the peer's pictures are good, as far as anybody looked.
    std::uint64_t GetTaken() const { return m_nDecoded + m_nKept; }
    // What was not decoded so far no longer counts.
    void ForgetUndecoded() { m_nUndecoded = 0; }
    // The format has no decoder here, and the cell says so already.
    void SetNeedsLibrary(bool bNeedsLibrary) { m_bNeedsLibrary = bNeedsLibrary; }

    std::atomic<std::uint64_t> m_nReceived{0};  // records off the wire, video
    std::atomic<std::uint64_t> m_nBytes{0};
    std::atomic<std::uint64_t> m_nDecoded{0};
    std::atomic<std::uint64_t> m_nKept{0};    // that nobody saw: they were not decoded as they came
    std::atomic<std::uint64_t> m_nFailed{0};  // by a decoder
    std::atomic<std::uint64_t> m_nShown{0};

private:
    std::atomic<bool> m_bNeedsLibrary{false};
    std::atomic<std::uint32_t> m_nUndecoded{0};       // frames since the last one that became a picture
    std::atomic<std::uint64_t> m_nUndecodedSince{0};  // the tick of the first of them, or of the last words
    std::atomic<std::uint64_t> m_nLastReceived{0};
};

}  // namespace kvmon
