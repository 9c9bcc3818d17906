// Streams for the tests of a channel, made with libavcodec's encoders.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "wire/frame_header.h"

struct AVCodecContext;

namespace kvtest {

struct Unit {
    std::string bytes;
    bool key = false;
};

// One encoder: "libx264", "mpeg4" or "mjpeg". Each picture is a ramp from left to right with the lower half
// inverted, whose brightness goes up with the picture's number. So many pictures between two that others
// refer to are coded after both.
class StreamMaker {
public:
    StreamMaker(const char* encoder, int width, int height, int group = 1000, int reordered = 0);
    ~StreamMaker();

    Unit Next();
    // So many pictures in the order of their coding, and the end of the stream.
    std::vector<Unit> All(int count);
    // The luma that picture `index` was made with.
    static int Luma(int index, int x, int y, int width, int height);

private:
    void Send(bool end);
    bool Take(Unit& unit);

    AVCodecContext* m_context;
    int m_width;
    int m_height;
    int m_index = 0;
};

// A record's head and what follows it. `dataSize` is what the head tells of the payload's length.
std::string Head(std::uint32_t fourcc, bool key, int width, int height, std::uint32_t dataSize,
                 std::uint32_t reserved = wire::kVideoReserved);
std::string VideoRecord(std::uint32_t fourcc, bool key, int width, int height, std::string_view payload);
std::string AudioRecord(std::uint32_t fourcc, std::uint32_t rate, std::uint16_t bits, std::uint16_t channels,
                        std::string_view sound);

// The next `count` pictures of an encoder, a record each.
std::vector<std::string> RecordList(std::uint32_t fourcc, StreamMaker& maker, int width, int height,
                                    int count);
// The same in one.
std::string Records(std::uint32_t fourcc, StreamMaker& maker, int width, int height, int count);

}  // namespace kvtest
