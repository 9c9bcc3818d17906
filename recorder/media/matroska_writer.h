// A stream's packets as a Matroska file, as they are.
#pragma once

#include <string>

#include "media/av_ptr.h"
#include "media/media_hub.h"

namespace kvrecorder {

// What was written plays up to the last second even when the end never comes. One thread at a time; an
// object that has thrown is good for nothing but its end.
class MatroskaWriter {
public:
    // The picture must be a key one and is written first. Throws std::runtime_error with words for the
    // user if the file cannot be made or the codec has no place in it.
    MatroskaWriter(const std::string& path, const PacketPtr& first);
    // Finishes; failures have no one to be told to.
    ~MatroskaWriter();
    MatroskaWriter(const MatroskaWriter&) = delete;
    MatroskaWriter& operator=(const MatroskaWriter&) = delete;

    static bool Takes(const Packet& packet);
    // A picture that this file cannot go on with, as it has another codec or size or comes from an earlier
    // time.
    bool Ends(const Packet& packet) const;
    // Throws std::runtime_error. Of MxPEG whole pictures are kept, as no player knows the others.
    void Write(const PacketPtr& packet);

    std::uint64_t Bytes() const { return bytes_; }
    std::int64_t Milliseconds() const { return lastTime_ - firstTime_; }

private:
    struct OutputFree {
        void operator()(AVFormatContext* context) const;
    };

    void Check(int result) const;
    void Describe(AVCodecParameters* parameters, const Packet& packet) const;
    // The packet before, whose length is known now.
    void Flush(std::int64_t duration);

    const std::string path_;
    const PacketPtr first_;
    std::unique_ptr<AVFormatContext, OutputFree> file_;
    AvPtr<AVPacket> packet_;
    PacketPtr waiting_;
    std::int64_t firstTime_ = 0;
    std::int64_t lastTime_ = 0;
    std::int64_t lastDuration_ = 40;
    std::uint64_t bytes_ = 0;
    bool begun_ = false;  // the head was written
};

}  // namespace kvrecorder
