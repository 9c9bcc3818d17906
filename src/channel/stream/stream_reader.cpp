#include "channel/stream/stream_reader.h"

#include <array>
#include <cstring>

#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kHeadTimeout = 3000;
constexpr std::uint32_t kBodyTimeout = 30000;
constexpr std::size_t kHeaderLineSize = 3096;
// "Sound needs its maker's library"
constexpr std::uint32_t kStrSoundNeedsLibrary = 6701;

}  // namespace

// A stream that the user left is no failed stream.
void StreamReader::Report(int nCode) {
    if (!IsAborted()) {
        m_sinks.reports.ReportStreamError(nCode);
    }
}

std::uint32_t StreamReader::ParseImageFromKelvara() {
    m_sinks.frames.SetWaitKeyFrame(true);
    m_sinks.decode.leave = 1;
    if (!SkipHttpHeader()) {
        Report(kStreamLine);
        Trace("CBaseCamera::ParseImageFromKelvara: m_uCHInMainDlg=%u, Read http header failed...\n",
              m_sinks.frames.GetCHInMainDlg());
        return 0;
    }
    std::array<std::uint8_t, wire::kFrameHeaderSize> head;
    while (!IsAborted()) {
        if (!ReadHead(head)) {
            Trace(
                "CBaseCamera::ParseImageFromKelvara: m_uCHInMainDlg=%u, Receive KELVARA_FRAME_HDR "
                "failed...\n",
                m_sinks.frames.GetCHInMainDlg());
            break;
        }
        if (!ReadRecord(ReadFrameHead(head), head)) {
            break;
        }
    }
    return m_dwCount;
}

bool StreamReader::SkipHttpHeader() {
    std::array<char, kHeaderLineSize> line;
    for (int i = 0; i < kMaxHeaderLines; ++i) {
        std::size_t length = line.size();
        std::uint32_t dwTimeout = kHeadTimeout;
        if (!m_source.ReadLine(line.data(), &length, &dwTimeout)) {
            return false;
        }
        if (line[0] == '\r') {
            return true;
        }
    }
    return false;
}

bool StreamReader::ReadHead(std::span<std::uint8_t, wire::kFrameHeaderSize> head) {
    for (std::size_t have = 0; have < head.size();) {
        std::uint32_t dwTimeout = kHeadTimeout;
        const std::size_t got = m_source.Receive(head.data() + have, head.size() - have, &dwTimeout);
        if (got == 0 || IsAborted()) {
            return false;
        }
        have += got;
    }
    return true;
}

bool StreamReader::ReadRecord(const KELVARA_FRAME_HDR& hdr,
                              std::span<const std::uint8_t, wire::kFrameHeaderSize> head) {
    const std::uint32_t uCH = m_sinks.frames.GetCHInMainDlg();
    if (hdr.dwReserved == wire::kAudioReserved) {
        return ReadSound(hdr);
    }
    if (hdr.dwReserved != wire::kVideoReserved) {
        Report(kStreamUnknownReserved);
        Trace(
            "CBaseCamera::ParseImage: m_uCHInMainDlg=%u, dwReserved=%u, dwFrameDataSize=%u, "
            "dwFourccCode=0x%x, recieve unknown data...\n",
            uCH, hdr.dwReserved, hdr.dwFrameDataSize, hdr.dwFourccCode);
        return false;
    }
    if (GetVideoCodeName(hdr.dwFourccCode) == nullptr) {
        Report(kStreamUnknownCode);
        Trace(
            "CBaseCamera::ParseImageFromKelvara: m_uCHInMainDlg=%u, fourcc error, hdr.dwFourccCode=0x%x...\n",
            uCH, hdr.dwFourccCode);
        return false;
    }
    if (!IsSizeLikely(hdr)) {
        Report(kStreamNoBuffer);
        Trace(
            "CBaseCamera::ParseImageFromKelvara: m_uCHInMainDlg=%u, dwFrameDataSize=%u is more than a "
            "picture of %u x %u can need...\n",
            uCH, hdr.dwFrameDataSize, m_dwWidth, m_dwHeight);
        return false;
    }
    const bool bJpeg = hdr.dwFourccCode == wire::kZIVG;
    if (!(bJpeg ? ReceiveStandardJpegFrame(hdr) : ReceiveDecodeFrame(hdr, head))) {
        Trace("CBaseCamera::ParseImageFromKelvara: m_uCHInMainDlg=%u, dwCount=%u, %s failed...\n", uCH,
              m_dwCount, bJpeg ? "ReceiveStandardJpegFrame" : "ReceiveDecodeFrame");
        return false;
    }
    ++m_dwCount;
    return true;
}

bool StreamReader::IsSizeLikely(const KELVARA_FRAME_HDR& hdr) {
    if (hdr.IsKeyFrame()) {
        m_dwWidth = hdr.dwWidth;
        m_dwHeight = hdr.dwHeight;
    }
    return hdr.dwFrameDataSize <= MostBytesOfPicture(m_dwWidth, m_dwHeight);
}

bool StreamReader::ReadSound(const KELVARA_FRAME_HDR& hdr) {
    if (!m_sinks.audio->PlayAudio(m_source, hdr, m_sinks.sound)) {
        Report(kStreamAudio);
        Trace("CBaseCamera::ParseImageFromKelvara: m_uCHInMainDlg=%u, PlayAudio failed...\n",
              m_sinks.frames.GetCHInMainDlg());
        return false;
    }
    if (m_sinks.audio->TakeNeedsLibrary()) {
        m_sinks.reports.ShowText(kStrSoundNeedsLibrary);
    }
    m_sinks.counters.m_nBytes += wire::kFrameHeaderSize + std::uint64_t{hdr.dwFrameDataSize};
    return true;
}

bool StreamReader::ReceiveStandardJpegFrame(const KELVARA_FRAME_HDR& hdr) {
    auto frame = m_sinks.frames.NewDecodeFrame(m_dwCount, hdr.dwFrameDataSize);
    if (!frame) {
        Report(kStreamNoBuffer);
        Trace("CBaseCamera::ReceiveStandardJpegFrame: NewDecodeFrame FAILED...\n");
        return false;
    }
    if (!ReadBody(frame->Begin(), hdr.dwFrameDataSize)) {
        Report(kStreamBodyCut);
        Trace("CBaseCamera::ReceiveStandardJpegFrame: read failed...\n");
        return false;
    }
    frame->SetLength(hdr.dwFrameDataSize);
    frame->m_capturedMs = hdr.capturedMs;
    CountFrame(wire::kFrameHeaderSize + std::uint64_t{hdr.dwFrameDataSize});
    return m_sinks.frames.AddDecodeFrameToQueue(FrameType::Jpeg, std::move(frame), &m_sinks.decode.run);
}

bool StreamReader::ReceiveDecodeFrame(const KELVARA_FRAME_HDR& hdr,
                                      std::span<const std::uint8_t, wire::kFrameHeaderSize> head) {
    const std::uint64_t size = head.size() + std::uint64_t{hdr.dwFrameDataSize};
    auto frame = m_sinks.frames.NewDecodeFrame(m_dwCount, size);
    if (!frame) {
        Report(kStreamNoBuffer);
        Trace("CBaseCamera::ReceiveDecodeFrame: dwIdx=%u, NewDecodeFrame failed...\n", m_dwCount);
        return false;
    }
    std::memcpy(frame->Begin(), head.data(), head.size());
    if (!ReadBody(frame->Begin() + head.size(), hdr.dwFrameDataSize)) {
        Report(kStreamBodyCut);
        Trace("CBaseCamera::ReceiveDecodeFrame:  dwIdx=%u, read failed...\n", m_dwCount);
        return false;
    }
    frame->SetLength(static_cast<std::uint32_t>(size));
    CountFrame(size);
    if (hdr.IsKeyFrame()) {
        // A late decoder jumps to the newest group of pictures.
        m_sinks.frames.FlushDecodeFrames(FrameQueue::Next::Any);
    }
    return m_sinks.frames.AddWrappedFrame(hdr, std::move(frame), &m_sinks.decode.run);
}

bool StreamReader::ReadBody(std::uint8_t* to, std::uint32_t size) {
    for (std::uint32_t have = 0; have < size;) {
        std::uint32_t dwTimeout = kBodyTimeout;
        const std::size_t got = m_source.Receive(to + have, size - have, &dwTimeout);
        if (got == 0 || IsAborted()) {
            return false;
        }
        have += static_cast<std::uint32_t>(got);
    }
    return true;
}

void StreamReader::CountFrame(std::uint64_t bytes) {
    ++m_sinks.counters.m_nReceived;
    m_sinks.counters.m_nBytes += bytes;
    m_sinks.reports.NoteReceived();
}

}  // namespace kvmon
