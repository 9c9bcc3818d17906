#include "channel/decode/open_decoders.h"

#include <cstring>
#include <fstream>

#include "codec/mxpeg_adapter.h"
#include "codec/video_decoder.h"
#include "codec/vivotek_adapter.h"
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

// Without the maker's library.
class Mpeg4InVivotek final : public VivotekDecoder {
public:
    bool Supports(std::uint32_t fourcc) const override { return fourcc == wire::kZV7K; }

    bool VideoInit(std::uint32_t fourcc, int width, int height, int /*bits*/, bool /*bLineDouble*/) override {
        VideoDecoderParams params;
        params.streamType = kStreamTypeMpeg4;
        params.width = width;
        params.height = height;
        m_info = MakeBitmapInfo(width, height);
        return Supports(fourcc) && m_decoder->Init(params) == kDecodeOk;
    }

    // Grows with the first picture of a stream whose head tells no size, or too small a one.
    std::size_t GetOutputSize() const override { return kPixels + m_info.biSizeImage; }

    std::optional<std::size_t> VideoDecode(std::span<const std::uint8_t> source,
                                           std::span<std::uint8_t> destination) override {
        if (m_decoder->GetFrame(source, m_picture) != kDecodeOk) {
            return std::nullopt;
        }
        const PictureView view = m_picture.View();
        m_info = MakeBitmapInfo(view.width, view.height);
        const bool bDone = destination.size() >= GetOutputSize() && Write(view, destination.data());
        m_picture.Clear();
        return bDone ? std::optional(GetOutputSize()) : std::nullopt;
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
    bool Write(const PictureView& view, std::uint8_t* file) const {
        std::memset(file, 0, kPixels);
        std::memcpy(file + kFileHeader, &m_info, sizeof m_info);
        const std::size_t stride = BitmapStride(m_info.biWidth);
        return ConvertToBgr(view, file + GetOutputSize() - stride, -static_cast<std::ptrdiff_t>(stride));
    }

    const std::unique_ptr<VideoDecoder> m_decoder = CreateVideoDecoder();
    DecodedPicture m_picture;
    BITMAPINFOHEADER m_info = MakeBitmapInfo(0, 0);
};

// The maker's own decoder where it can do it, else the open one.
class EitherVivotek final : public VivotekDecoder {
public:
    EitherVivotek(const VivotekLibrary& library, const GiveUp& giveUp)
        : m_closed(CreateVivotekDecoder(library, giveUp)) {}

    bool Supports(std::uint32_t fourcc) const override {
        return m_closed->Supports(fourcc) || m_open.Supports(fourcc);
    }
    bool VideoInit(std::uint32_t fourcc, int width, int height, int bits, bool bLineDouble) override {
        Close();
        for (VivotekDecoder* const decoder : {m_closed.get(), static_cast<VivotekDecoder*>(&m_open)}) {
            if (decoder->VideoInit(fourcc, width, height, bits, bLineDouble)) {
                m_present = decoder;
                return true;
            }
            decoder->Close();
        }
        return false;
    }
    std::size_t GetOutputSize() const override { return m_present->GetOutputSize(); }
    std::optional<std::size_t> VideoDecode(std::span<const std::uint8_t> source,
                                           std::span<std::uint8_t> destination) override {
        return m_present->VideoDecode(source, destination);
    }
    bool AudioInit() override { return m_closed->AudioInit(); }
    std::optional<VivotekSound> AudioDecode(std::span<const std::uint8_t> source,
                                            std::span<std::uint8_t> destination) override {
        return m_closed->AudioDecode(source, destination);
    }
    void Close() override {
        m_closed->Close();
        m_open.Close();
    }

private:
    const std::unique_ptr<VivotekDecoder> m_closed;
    Mpeg4InVivotek m_open;
    VivotekDecoder* m_present = &m_open;
};

}  // namespace

std::unique_ptr<CTRMxPEGDecoder> MakeOpenMxpegDecoder() {
    return CreateMxpegDecoder(AvMxpegLibrary(), DumpFrame);
}

std::unique_ptr<VivotekDecoder> MakeVivotekDecoder(const VivotekLibrary& library, const GiveUp& giveUp) {
    return std::make_unique<EitherVivotek>(library, giveUp);
}

std::unique_ptr<VivotekDecoder> MakeSiteVivotekDecoder(const GiveUp& giveUp) {
    static const VivotekLibrary library = [] {
        const std::string folders[] = {GetDataFolder() + "/libraries", GetModuleFileFolder(), {}};
        return LoadVivotekLibrary(folders);
    }();
    return MakeVivotekDecoder(library, giveUp);
}

}  // namespace kvmon
