// A stream's packets as a Matroska file, as they are.
#pragma once

#include <string>

#include "media/av_ptr.h"
#include "media/file_output.h"
#include "media/packet.h"
#include "media/private_file.h"

namespace kvrecorder {

// What was written plays up to the last second even when the end never comes. One thread at a time; an
// object that has thrown is good for nothing but its end.
class MatroskaWriter {
public:
    // The picture must be a key one and is written first. Throws std::runtime_error with words for the
    // user if the file cannot be made, is there already, or the codec has no place in it.
    MatroskaWriter(const std::string& path, const PacketPtr& first, FileGroup group = {});
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

    std::uint64_t Bytes() const { return m_bytes; }
    std::int64_t Milliseconds() const { return m_lastTime - m_firstTime; }

private:
    struct OutputFree {
        void operator()(AVFormatContext* context) const;
    };

    void Check(int result) const;
    void Describe(AVCodecParameters* parameters, const Packet& packet) const;
    // The packet before, whose length is known now.
    void Flush(std::int64_t duration);

    const std::string m_path;
    const PacketPtr m_first;
    std::unique_ptr<FileOutput> m_output;
    std::unique_ptr<AVFormatContext, OutputFree> m_file;
    AvPtr<AVPacket> m_packet;
    PacketPtr m_waiting;
    std::int64_t m_firstTime = 0;
    std::int64_t m_lastTime = 0;
    std::int64_t m_lastDuration = 40;
    std::uint64_t m_bytes = 0;
    bool m_begun = false;  // the head was written
};

}  // namespace kvrecorder
