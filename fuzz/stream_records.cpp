// The records of a channel's stream, from behind the status line, and the frames that come of them.
#include <algorithm>
#include <cstring>

#include "channel/decode_loop.h"
#include "channel/stream_reader.h"

namespace {

class SpanSource final : public kvmon::ByteSource {
public:
    explicit SpanSource(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

    bool ReadLine(char* pBuffer, std::size_t* pnLength, std::uint32_t* /*dwTimeout*/) override {
        const auto end = std::find(m_bytes.begin(), m_bytes.end(), '\n');
        const auto line = static_cast<std::size_t>(end - m_bytes.begin()) + (end != m_bytes.end() ? 1 : 0);
        *pnLength = Take(pBuffer, std::min(line, *pnLength));
        return *pnLength != 0;
    }
    std::size_t Receive(void* pBuffer, std::size_t nLength, std::uint32_t* /*dwTimeout*/) override {
        return Take(pBuffer, nLength);
    }
    std::size_t ReadBlock(void* pBuffer, std::size_t nLength, std::uint32_t* /*dwTimeout*/) override {
        return Take(pBuffer, nLength);
    }

private:
    std::size_t Take(void* to, std::size_t length) {
        length = std::min(length, m_bytes.size());
        if (length > 0) {
            std::memcpy(to, m_bytes.data(), length);
        }
        m_bytes = m_bytes.subspan(length);
        return length;
    }

    std::span<const std::uint8_t> m_bytes;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvmon::ChannelCore core(kvmon::SystemClock());
    core.m_sound.m_bPlayAudioUI = true;
    core.m_sound.m_bSupportAudio = true;
    core.m_sound.m_bAudioRight = true;
    kvmon::ThreadControl video;
    kvmon::ThreadControl decode;
    kvmon::LiveAudio audio(kvmon::ChannelFactories{}, core.m_uCHInMainDlg);
    SpanSource source({data, size});
    kvmon::StreamReader(core, video, decode, audio, source).ParseImageFromKelvara();

    // With the exit event set a pass ends when no frame waits.
    decode.exit.Set();
    while (core.m_frames.GetCount() > 0) {
        decode.reset = 0;
        decode.leave = 0;
        kvmon::DecodeLoop(core, decode).DecodeFrame();
    }
    return 0;
}
