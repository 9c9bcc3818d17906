// A clock that moves itself, a watcher that keeps, a decoder and a writer of small files.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "media/av_ptr.h"
#include "media/media_clock.h"
#include "media/media_hub.h"

namespace kvtest {

// Every wait ends at once and moves the clock, up to the time that the test allows.
class SelfMovingClock final : public kvrecorder::MediaClock {
public:
    kvrecorder::MediaTime Now() override;
    std::chrono::system_clock::time_point WallTime() override;
    void WaitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                   kvrecorder::MediaTime until) override;

    void Allow(std::chrono::milliseconds more);
    // Skips time, as when the machine was busy with something else.
    void Jump(std::chrono::milliseconds time);

private:
    std::mutex m_mutex;
    kvrecorder::MediaTime m_now{};
    kvrecorder::MediaTime m_limit{};
    std::mutex* m_waiting = nullptr;
    std::condition_variable* m_wake = nullptr;
};

// Keeps all packets.
class Collector {
public:
    std::function<void(const kvrecorder::PacketPtr&)> Sink();
    // What came until there were `count`, at most ten seconds later.
    std::vector<kvrecorder::PacketPtr> WaitFor(std::size_t count);
    std::vector<kvrecorder::PacketPtr> Packets();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<kvrecorder::PacketPtr> m_packets;
};

// Luma of a decoded picture.
struct Luma {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rows;

    // Mean difference to another picture of the same size in the rows from `top` to `bottom`.
    double Differs(const Luma& other, int top, int bottom) const;
};

// The pictures that libavcodec makes of packets of one stream; fails the test for damaged data.
std::vector<Luma> Decode(const std::vector<kvrecorder::PacketPtr>& packets);

std::vector<kvrecorder::PacketPtr> EncodeTestPictures(const kvrecorder::StreamConfig& stream, int count);
// Where the parameter sets of a file stand: in its head alone, as is usual, or in its packets.
enum class Headers { InHead, InPackets };
// Writes packets as a file whose kind the extension tells.
void WriteVideoFile(const std::string& path, const std::vector<kvrecorder::PacketPtr>& packets, int fps,
                    Headers headers);
// Writes noise-free pictures through any encoder of libavcodec, with so many pictures between two that others
// refer to.
void EncodeVideoFile(const std::string& path, const char* encoder, int width, int height, int count, int fps,
                     int reordered = 0);
// Which picture of such a file a decoded one is.
int NumberOf(const Luma& picture);
// The pictures of a file with their times in milliseconds, in the order of display.
struct TimedLuma {
    std::int64_t ms = 0;
    Luma picture;
};
std::vector<TimedLuma> DecodeFile(const std::string& path);

// The units of an annex B stream without delimiters, in order of their bytes.
std::vector<std::string> NalUnits(const std::vector<std::uint8_t>& data);

}  // namespace kvtest
