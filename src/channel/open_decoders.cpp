#include "channel/open_decoders.h"

#include <cstring>
#include <fstream>

#include "codec/mxpeg_adapter.h"
#include "codec/video_decoder.h"
#include "persist/utilities.h"
#include "platform/text.h"
#include "wire/frame_header.h"

namespace kvmon {

namespace {

constexpr std::size_t kFileHeader = 14;
constexpr std::size_t kPixels = 54;

void DumpFrame(int number, std::span<const std::uint8_t> frame) {
    const std::string folder = GetDataFolder() + "/DebugInfo";
    if (!IsFolder(folder)) {
        return;
    }
    std::ofstream file(folder + FormatText("/Mobotix-MxPEG-%06d.raw", number), std::ios::binary);
    file.write(reinterpret_cast<const char*>(frame.data()), static_cast<std::streamsize>(frame.size()));
}

class Mpeg4InVivotek final : public VivotekDecoder {
public:
    bool VideoInit(std::uint32_t fourcc, int width, int height) override {
        if (fourcc != wire::kZV7K) {
            return false;
        }
        VideoDecoderParams params;
        params.streamType = kStreamTypeMpeg4;
        params.width = width;
        params.height = height;
        m_info = MakeBitmapInfo(width, height);
        return m_decoder->Init(params) == kDecodeOk;
    }
    std::size_t OutputSize() const override { return kPixels + m_info.biSizeImage; }

    std::optional<std::size_t> VideoDecode(std::span<const std::uint8_t> source,
                                           std::span<std::uint8_t> destination) override {
        if (destination.size() < OutputSize() || m_decoder->GetFrame(source, m_picture) != kDecodeOk) {
            return std::nullopt;
        }
        std::memset(destination.data(), 0, kPixels);
        std::memcpy(destination.data() + kFileHeader, &m_info, sizeof m_info);
        const std::size_t stride = BitmapStride(m_info.biWidth);
        std::uint8_t* const top = destination.data() + OutputSize() - stride;
        const bool bDone = ConvertToBgr(m_picture.View(), top, -static_cast<std::ptrdiff_t>(stride));
        m_picture.Clear();
        return bDone ? std::optional(OutputSize()) : std::nullopt;
    }

    bool AudioInit() override { return false; }
    std::optional<VivotekSound> AudioDecode(std::span<const std::uint8_t>, std::span<std::uint8_t>) override {
        return std::nullopt;
    }
    void Close() override {
        m_picture.Clear();
        m_decoder->Close();
    }

private:
    const std::unique_ptr<VideoDecoder> m_decoder = CreateVideoDecoder();
    DecodedPicture m_picture;
    BITMAPINFOHEADER m_info;
};

}  // namespace

std::unique_ptr<CTRMxPEGDecoder> MakeOpenMxpegDecoder() {
    return CreateMxpegDecoder(AvMxpegLibrary(), DumpFrame);
}

std::unique_ptr<VivotekDecoder> MakeOpenVivotekDecoder() {
    return std::make_unique<Mpeg4InVivotek>();
}

}  // namespace kvmon
