// Whole pictures of the pieces that a camera sends them in.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kvrecorder {

// The pieces of a picture have one time stamp. Its last one is certain when the next picture begins, which
// would delay each by one. A camera that says which is the last is believed until it was wrong; without it
// the joiner learns from the pictures before in how many slices they come and how large a piece is that goes
// on, and gives a picture as soon as it looks whole; failing that after a short time without a piece. When a
// piece comes for a picture that was given already, it waits longer from then on. One thread at a time.
class PictureJoiner {
public:
    using Time = std::chrono::microseconds;

    struct Piece {
        std::int64_t stamp = 0;  // microseconds
        std::span<const std::uint8_t> bytes;
        int slices = 0;       // of the picture itself, not of what stands before it, that begin in this piece
        bool isLast = false;  // as the camera says
    };
    struct Picture {
        std::int64_t stamp = 0;
        std::vector<std::uint8_t> bytes;
        bool rest = false;  // of a picture that was given already
    };

    // A picture that a piece's coming ends: the one before, or the one that it belongs to.
    void Add(const Piece& piece, Time now, std::vector<Picture>& whole);
    // When the picture that waits is given at the latest; nothing when none waits. What stands before a
    // picture waits for it.
    std::optional<Time> Due() const;
    // Gives it if it is due.
    void Flush(Time now, std::vector<Picture>& whole);
    void Clear();
    // Most pictures are given with their last piece, and need not be waited for.
    bool KnowsEnds() const;
    // For how long a picture is waited for at its end.
    Time Patience() const { return m_patience; }

    // A larger one is dropped.
    static constexpr std::size_t kMostBytes = 16 << 20;

private:
    void Give(std::vector<Picture>& whole);
    bool LooksWhole(const Piece& piece) const;
    void Learn();

    Picture m_waiting;
    bool m_waits = false;
    bool m_tooLarge = false;
    Time m_lastPiece{};
    // Cameras send a large picture in bursts: longer than from one to the next.
    Time m_patience{60'000};
    std::int64_t m_givenStamp = INT64_MIN / 2;
    std::size_t m_largestPiece = 0;  // of this stream
    int m_slices = 0;                // of the picture that waits
    int m_usualSlices = 0;           // of a picture; 0: not known yet
    int m_learnt = 0;                // pictures that had as many
    bool m_believes = true;          // what the camera says of last pieces
    bool m_saidLast = false;         // of the picture that was given last
};

}  // namespace kvrecorder
