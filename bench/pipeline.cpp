// What a picture costs from the received record to the composed cell, against decoding alone.
#include <pthread.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <span>
#include <thread>

#include "allocation_count.h"
#include "channel/camera/channel_core.h"
#include "channel/decode/decode_loop.h"
#include "codec/jpeg_codec.h"
#include "codec/video_decoder.h"
#include "records.h"

namespace {

using namespace kvmon;
using kvbench::AllocationCount;
using kvbench::Record;
using kvbench::StreamKind;
using kvtest::Coding;

constexpr StreamKind kStreams[] = {
    {"H.264  352x240", Coding::H264, 352, 240, 512'000},
    {"H.264  640x480", Coding::H264, 640, 480, 1'000'000},
    {"H.264 1280x720", Coding::H264, 1280, 720, 2'000'000},
    {"H.264 1920x1080", Coding::H264, 1920, 1080, 4'000'000},
    {"H.265 1280x720", Coding::H265, 1280, 720, 1'000'000},
    {"H.265 1920x1080", Coding::H265, 1920, 1080, 2'000'000},
    {"MJPEG  640x480", Coding::Mjpeg, 640, 480, 0},
    {"MJPEG 1280x720", Coding::Mjpeg, 1280, 720, 0},
};

struct Cell {
    int width;
    int height;
    const char* name;
};
constexpr Cell kCells[] = {{195, 137, "195x137"}, {391, 274, "391x274"}, {779, 520, "779x520 full view"}};

constexpr int kPictures = 2 * kvbench::kKeyInterval;
constexpr int kRounds = 9;
// Records handed over at once: fewer than the queue holds, and a key frame, which throws away what waits
// before it, comes first of its batch.
constexpr int kBatch = 5;

double ThreadMs(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

// The floor: the same decoders on the same bytes, and nothing else.
class BareDecoder {
public:
    explicit BareDecoder(const StreamKind& kind) {
        if (kind.coding != Coding::Mjpeg) {
            m_decoder->Init({kind.coding == Coding::H265 ? kStreamTypeH265 : kStreamTypeH264, kind.width,
                             kind.height, 1});
        }
    }
    // Milliseconds of CPU for each picture.
    double Round(const std::vector<Record>& records) {
        const double begin = ThreadMs(CLOCK_THREAD_CPUTIME_ID);
        for (const Record& record : records) {
            if (record.jpeg) {
                m_view = DecodeJpegPlanes(record.bytes, m_storage);
            } else {
                const auto payload = std::span(record.bytes).subspan(record.headSize);
                m_decoder->GetFrame(payload, m_picture);
                m_view = m_picture.View();
            }
            if (m_view.IsEmpty()) {
                throw std::runtime_error("a picture was not decoded");
            }
        }
        return (ThreadMs(CLOCK_THREAD_CPUTIME_ID) - begin) / static_cast<double>(records.size());
    }

private:
    const std::unique_ptr<VideoDecoder> m_decoder = CreateVideoDecoder();
    DecodedPicture m_picture;
    std::vector<std::uint8_t> m_storage;
    PictureView m_view;
};

// A channel's own decode thread, queue, pools and picture, fed with records in hand.
class Channel {
public:
    explicit Channel(const Cell& cell) {
        m_core->m_frames.SetPlaying(true);
        m_core->m_picture.SetViewSize(cell.width, cell.height);
        m_core->m_picture.SetRepaint([this] {
            if (m_core->m_counters.m_nShown >= m_awaited) {
                m_reached.Set();
            }
        });
        m_thread = std::thread([core = m_core, control = m_control] {
            DoDecodeLoop(core->GetDecodeParts(), core->m_source, *control);
        });
        pthread_getcpuclockid(m_thread.native_handle(), &m_clock);
    }
    ~Channel() {
        m_control->leave = 1;
        m_control->exit.Set();
        m_thread.join();
    }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    double Round(const std::vector<Record>& records) {
        const double begin = ThreadMs(m_clock);
        for (std::size_t i = 0; i < records.size(); i += kBatch) {
            const auto batch =
                std::span(records).subspan(i).first(std::min<std::size_t>(kBatch, records.size() - i));
            m_reached.Reset();
            m_awaited = m_core->m_counters.m_nShown + batch.size();
            for (const Record& record : batch) {
                Feed(record);
            }
            if (!m_reached.Wait(std::chrono::seconds(30))) {
                throw std::runtime_error("a picture was not composed");
            }
        }
        return (ThreadMs(m_clock) - begin) / static_cast<double>(records.size());
    }

private:
    void Feed(const Record& record) {
        auto frame = m_core->m_frames.NewDecodeFrame(0, record.bytes.size());
        std::memcpy(frame->Begin(), record.bytes.data(), record.bytes.size());
        frame->SetLength(static_cast<std::uint32_t>(record.bytes.size()));
        m_core->m_frames.AddDecodeFrameToQueue(record.jpeg ? FrameType::Jpeg : FrameType::Wrapped,
                                               std::move(frame), &m_control->run);
    }

    const std::shared_ptr<ChannelCore> m_core = std::make_shared<ChannelCore>(SystemClock());
    const std::shared_ptr<ThreadControl> m_control = std::make_shared<ThreadControl>();
    std::atomic<std::uint64_t> m_awaited{UINT64_MAX};
    Event m_reached;
    std::thread m_thread;
    clockid_t m_clock{};
};

// A count that sees nothing would look like a good one.
void CheckCounting() {
    kvbench::StartCounting();
    const auto one = std::make_unique<std::vector<int>>(100);
    if (kvbench::StopCounting().other != 2 || one->empty()) {
        throw std::runtime_error("allocations are not counted");
    }
}

void Measure(const StreamKind& kind) {
    std::vector<Record> records = kvbench::MakeRecords(kind, kPictures);
    for (Record& record : records) {
        // Room that a decoder may read ahead into.
        record.bytes.reserve(record.bytes.size() + kInputPadding);
    }
    for (const Cell& cell : kCells) {
        BareDecoder bare(kind);
        Channel channel(cell);
        bare.Round(records);
        channel.Round(records);
        // By turns, and the best of each: others use the machine too.
        double floor = 1e9;
        double whole = 1e9;
        for (int round = 0; round < kRounds; ++round) {
            floor = std::min(floor, bare.Round(records));
            whole = std::min(whole, channel.Round(records));
        }
        kvbench::StartCounting();
        channel.Round(records);
        const AllocationCount count = kvbench::StopCounting();
        const auto perPicture = [](std::uint64_t n) { return static_cast<double>(n) / kPictures; };
        std::printf("%-16s %-18s %9.3f %9.3f %7.2f %9.2f %9.2f %9.2f\n", kind.name, cell.name, floor, whole,
                    whole / floor, perPicture(count.other), perPicture(count.scaling),
                    perPicture(count.codec));
        std::fflush(stdout);
    }
}

}  // namespace

int main() {
    try {
        CheckCounting();
        std::printf(
            "CPU of the decode thread for a picture, and allocations for a picture by who makes them\n\n");
        std::printf("%-16s %-18s %9s %9s %7s %9s %9s %9s\n", "stream", "cell", "decode ms", "whole ms",
                    "ratio", "our own", "scaling", "codec");
        for (const StreamKind& kind : kStreams) {
            Measure(kind);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_pipeline: %s\n", error.what());
        return 1;
    }
    return 0;
}
