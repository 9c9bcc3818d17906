// The coded pictures of a file, over and over.
#pragma once

#include <deque>
#include <string>

#include "media/av_ptr.h"
#include "media/media_clock.h"
#include "media/opened_file.h"
#include "media/stream_config.h"

namespace kvrecorder {

// How a file's pictures are offered.
struct FileFormat {
    bool passOn = false;  // the codec is one of the protocol's: packets go out as they are
    Codec codec = Codec::H264;
    int width = 0;
    int height = 0;
    int fps = 1;
};

// Reads a file that libavformat knows. H.264 comes as annex B and MPEG-4 as it is, with the parameter
// sets or the VOL header in each key packet. One thread at a time.
class FileReader {
public:
    // Throws std::runtime_error if the file cannot be read or has no pictures.
    explicit FileReader(const std::string& path);

    const FileFormat& Format() const { return m_format; }
    // For a decoder of the packets.
    const AVCodecParameters* Parameters() const {
        return m_opened.filter ? m_opened.filter->par_out : m_opened.pictures->codecpar;
    }

    struct Next {
        const AVPacket* packet;  // valid until the next call; never null
        MediaTime after;         // since the packet before
        MediaTime delay;         // from the packet's time to its picture's
        bool begun;              // the first of the file again
    };
    // Throws std::runtime_error when the file gives nothing any more.
    Next Read();

private:
    void Open();
    void Describe();
    void ReadFirst();
    bool ReadPacket();
    bool ReadFiltered();
    bool Rewind();
    bool ReadOrdered();
    bool IsFirstTimed();
    MediaTime ToTime(std::int64_t stamp) const;
    MediaTime DecodeTime() const;
    MediaTime TimeSinceLast();
    MediaTime DisplayDelay() const;

    const std::string m_path;
    OpenedFile m_opened;
    AvPtr<AVPacket> m_packet;
    FileFormat m_format;
    MediaTime m_pictureTime{40'000};
    MediaTime m_decodeTime{};     // of the present packet, on the file's own clock
    MediaTime m_reorderDelay{};   // from the first packet to its picture
    bool m_ordersItself = false;  // the file does not tell when pictures are to be seen
    bool m_ended = false;
    std::deque<AvPtr<AVPacket>> m_ahead;  // read for their order
    bool m_atStart = true;
    bool m_pending = false;
};

}  // namespace kvrecorder
