// The JPEG pictures in a camera's RTP packets, which leave their heads out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "cameras/rtp_packets.h"

namespace kvrecorder {

// Makes the head of what the packets tell: the size, one of two ways to sample colours, the tables or the
// quality that they follow from, where the pixels can be restarted. Segments in a packet's extension, as
// cameras of ONVIF send them, come first. One thread at a time.
class RtpJpeg {
public:
    // The size of pictures that are too large for the packets to tell it; 0: none is told.
    RtpJpeg(int width, int height) : m_width(width), m_height(height) {}

    // It is the first one of a picture.
    static bool Begins(const RtpPacket& packet);
    // Appends what it holds to the picture, which is empty from a damaged packet to the next picture. Throws
    // CameraError for pictures of which no head can be made.
    void Add(const RtpPacket& packet, std::vector<std::uint8_t>& picture);
    // Ends it, of which the last packet came if `isWhole`; false if a part of it is missing.
    static bool Finish(bool isWhole, std::vector<std::uint8_t>& picture);

private:
    using Bytes = std::span<const std::uint8_t>;
    using Segment = std::vector<std::uint8_t>;
    // What stands before the pixels in a packet.
    struct Part {
        std::size_t offset = 0;  // of its pixels, in those of the picture
        int kind = 0;
        int quality = 0;
        int width = 0;
        int height = 0;
        std::optional<int> restart;  // after so many blocks
        int wide = 0;                // a bit for each table of 16 bits
        Bytes tables;
        Bytes pixels;
    };
    static std::optional<Part> ReadPart(Bytes payload);
    static Segment TablesOf(const Part& part);
    const Segment& ChooseTables(const Part& part);
    bool Begin(const Part& part, const RtpPacket& packet, std::vector<std::uint8_t>& picture);

    const int m_width;
    const int m_height;
    std::size_t m_came = 0;         // of the picture's pixels
    std::map<int, Segment> m_told;  // tables that hold until others are told, by their number
    std::map<int, Segment> m_made;  // by quality
};

}  // namespace kvrecorder
