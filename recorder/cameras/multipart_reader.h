// The parts of a multipart/x-mixed-replace body, as cameras send it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cameras/jpeg_walk.h"

namespace kvrecorder {

// Takes what real cameras do: a boundary with or without its dashes, in quotes or missing, a wrong length or
// none, lines that end in any way. A JPEG picture is given as soon as its last byte has come. One thread at a
// time.
class MultipartReader {
public:
    // The boundary as the reply's head tells it; empty: the body's first one is taken.
    explicit MultipartReader(std::string_view boundary);

    // Bytes as they come.
    void Add(std::span<const std::uint8_t> bytes);

    struct Part {
        std::string type;  // in small letters, without what stands behind it; empty: not told
        std::vector<std::uint8_t> body;
    };
    // Nothing until there is a whole one. Throws CameraError for what can be no part.
    std::optional<Part> Next();

    static constexpr std::size_t kMostPart = 16 << 20;

private:
    enum class State { Boundary, Head, Body };

    bool SkipToBoundary();
    bool ReadHead();
    void ReadField(std::string_view line);
    std::optional<Part> ReadBody();
    Part TakeBody(std::size_t length, std::size_t upTo);
    std::optional<std::string_view> Line(std::size_t most);
    // Where the next boundary's line begins, from `from` on.
    std::size_t FindBoundary(std::size_t from) const;
    std::span<const std::uint8_t> Rest() const { return std::span(m_bytes).subspan(m_at); }
    void Drop();

    std::string m_boundary;  // without dashes before it; empty: not known yet
    State m_state = State::Boundary;
    std::vector<std::uint8_t> m_bytes;
    std::size_t m_at = 0;        // what stands before it is done with
    std::size_t m_searched = 0;  // of the part, for a boundary
    std::size_t m_headBytes = 0;
    Part m_part;
    std::optional<std::size_t> m_length;
    JpegWalk m_walk;
};

// The boundary in a reply's Content-Type; empty without one.
std::string BoundaryOf(std::string_view contentType);
// "image/jpeg" of " Image/JPEG; charset=x".
std::string MediaTypeOf(std::string_view contentType);

}  // namespace kvrecorder
