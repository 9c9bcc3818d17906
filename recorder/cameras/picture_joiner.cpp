#include "cameras/picture_joiner.h"

#include <algorithm>
#include <utility>

namespace kvrecorder {
namespace {

constexpr PictureJoiner::Time kMostPatience{200'000};
// Pictures with the same number of slices before that number is relied on.
constexpr int kEnough = 5;
// Pieces that go on are as large as the net allows, give or take a head.
constexpr std::size_t kRecordHead = 32;
// Stamps of one picture may differ by what a library rounds.
constexpr std::int64_t kSameStamp = 1000;

bool IsSame(std::int64_t a, std::int64_t b) {
    return a == b || (a > b ? a - kSameStamp < b : b - kSameStamp < a);
}

}  // namespace

void PictureJoiner::Add(const Piece& piece, Time now, std::vector<Picture>& whole) {
    if (m_waits && !IsSame(piece.stamp, m_waiting.stamp)) {
        if (m_slices > 0 || m_waiting.rest) {
            Learn();
            Give(whole);
        } else {
            m_waiting.stamp = piece.stamp;  // headers that were sent ahead of their picture
        }
    }
    if (!m_waits) {
        m_waits = true;
        m_tooLarge = false;
        m_slices = 0;
        m_waiting.stamp = piece.stamp;
        m_waiting.rest = IsSame(piece.stamp, m_givenStamp);
        if (m_waiting.rest) {
            // It was given too early.
            m_patience = std::min(2 * m_patience, kMostPatience);
            m_believes = m_believes && !m_saidLast;
            m_learnt = 0;
            m_usualSlices = 0;
            m_largestPiece = 0;  // a damaged one may have been larger than any
        }
    }
    m_tooLarge = m_tooLarge || m_waiting.bytes.size() + piece.bytes.size() > kMostBytes;
    if (!m_tooLarge) {
        m_waiting.bytes.insert(m_waiting.bytes.end(), piece.bytes.begin(), piece.bytes.end());
    }
    m_slices += piece.slices;
    m_largestPiece = std::max(m_largestPiece, piece.bytes.size());
    m_lastPiece = now;
    if (LooksWhole(piece)) {
        Give(whole);
        m_saidLast = m_believes && piece.isLast;
    }
}

bool PictureJoiner::KnowsEnds() const {
    return (m_believes && m_saidLast) || m_learnt >= kEnough;
}

bool PictureJoiner::LooksWhole(const Piece& piece) const {
    if (m_waiting.rest || m_slices == 0) {
        return false;
    }
    return (m_believes && piece.isLast) || (m_learnt >= kEnough && m_slices == m_usualSlices &&
                                            piece.bytes.size() + kRecordHead < m_largestPiece);
}

void PictureJoiner::Learn() {
    if (m_waiting.rest || m_slices == 0) {
        return;
    }
    m_learnt = m_slices == m_usualSlices ? m_learnt + 1 : 0;
    m_usualSlices = m_slices;
}

void PictureJoiner::Give(std::vector<Picture>& whole) {
    m_givenStamp = m_waiting.stamp;
    m_saidLast = false;
    m_waits = false;
    if (!m_tooLarge && !m_waiting.bytes.empty()) {
        whole.push_back(std::move(m_waiting));
    }
    m_waiting = {};
}

std::optional<PictureJoiner::Time> PictureJoiner::Due() const {
    return m_waits && (m_slices > 0 || m_waiting.rest) ? std::optional(m_lastPiece + m_patience)
                                                       : std::nullopt;
}

void PictureJoiner::Flush(Time now, std::vector<Picture>& whole) {
    if (const auto due = Due(); due && now >= *due) {
        Learn();
        Give(whole);
    }
}

void PictureJoiner::Clear() {
    *this = {};
}

}  // namespace kvrecorder
