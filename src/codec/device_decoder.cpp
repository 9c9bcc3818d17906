#include "codec/device_decoder.h"

extern "C" {
#include <libavutil/frame.h>
}

#include <utility>

#include "codec/deep_picture.h"
#include "platform/diagnostics.h"

namespace kvmon {

namespace {

// More units than pictures ever wait for one another.
constexpr int kMaxWithoutPicture = 20;

bool MakePlain(DecodedPicture& picture) {
    return MakePlanar(*picture.Frame()) && MakeEightBit(*picture.Frame()) && !picture.View().IsEmpty();
}

class WholeOnDevice final : public WholePicture {
public:
    explicit WholeOnDevice(std::unique_ptr<HeldPicture> held) : m_held(std::move(held)) {}

    PictureSize Size() const override { return m_held->Size(); }
    bool Read(DecodedPicture& out) override {
        out.Clear();
        if (out.Frame() != nullptr && m_held->ReadBack(*out.Frame()) && MakePlain(out)) {
            return true;
        }
        out.Clear();
        return false;
    }

private:
    const std::unique_ptr<HeldPicture> m_held;
};

class DeviceDecoder final : public VideoDecoder {
public:
    explicit DeviceDecoder(std::shared_ptr<HardwareDevice> device) : m_device(std::move(device)) {}

    int Init(const VideoDecoderParams& params) override {
        Close();
        m_session = m_device->Open(params);
        if (!m_session) {
            return kDecodeBadData;
        }
        m_session->SetLeavesOut(m_bLeavesOut);
        m_bScales = true;
        return kDecodeOk;
    }

    int GetFrame(std::span<const std::uint8_t> input, DecodedPicture& output) override {
        output.Clear();
        if (!m_session) {
            return kDecodeNotOpen;
        }
        const int status = Decode(input, output);
        if (status != kDecodeOk) {
            output.Clear();
        }
        if (status != kDecodeOk && status != kDecodeNeedMoreData) {
            m_session.reset();
        }
        return status;
    }

    void SetLeavesOut(bool bLeavesOut) override {
        m_bLeavesOut = bLeavesOut;
        if (m_session) {
            m_session->SetLeavesOut(bLeavesOut);
        }
    }

    void SetShownSize(const ShownSize& shown) override { m_shown = shown; }

    void Close() override {
        m_session.reset();
        m_nWithoutPicture = 0;
    }

private:
    int Decode(std::span<const std::uint8_t> input, DecodedPicture& output) {
        if (output.Frame() == nullptr) {
            return kDecodeNoMemory;
        }
        if (!m_session->Send(input)) {
            return kDecodeBadData;
        }
        bool bPicture = false;
        for (;;) {
            const HardwareSession::Step step = m_session->Receive();
            if (step == HardwareSession::Step::None) {
                break;
            }
            output.Clear();
            if (step == HardwareSession::Step::Failed || !Read(output)) {
                return kDecodeBadData;
            }
            bPicture = true;
        }
        m_nWithoutPicture = bPicture || m_bLeavesOut ? 0 : m_nWithoutPicture + 1;
        return bPicture                                 ? kDecodeOk
               : m_nWithoutPicture > kMaxWithoutPicture ? kDecodeBadData
                                                        : kDecodeNeedMoreData;
    }

    bool Read(DecodedPicture& output) {
        const PictureSize shown = m_bScales && m_shown ? m_shown() : PictureSize{};
        const PictureSize own = m_session->Size();
        const bool bSmaller =
            !shown.IsEmpty() && shown.width <= own.width && shown.height <= own.height && shown != own;
        if (bSmaller && ReadScaled(shown, output)) {
            return true;
        }
        return m_session->ReadBack(*output.Frame()) && MakePlain(output);
    }

    // What fails here is no reason to leave the device: pictures come whole then.
    bool ReadScaled(PictureSize shown, DecodedPicture& output) {
        auto held =
            m_session->ReadScaled(shown, *output.Frame()) && MakePlain(output) ? m_session->Hold() : nullptr;
        if (!held) {
            Diagnose("hardware decoding: %s does not scale pictures\n", m_device->Name().c_str());
            m_bScales = false;
            output.Clear();
            return false;
        }
        output.SetWhole(std::make_shared<WholeOnDevice>(std::move(held)));
        return true;
    }

    const std::shared_ptr<HardwareDevice> m_device;
    std::unique_ptr<HardwareSession> m_session;
    ShownSize m_shown;
    bool m_bScales = false;
    int m_nWithoutPicture = 0;
    bool m_bLeavesOut = false;
};

}  // namespace

std::unique_ptr<VideoDecoder> CreateDeviceDecoder(std::shared_ptr<HardwareDevice> device) {
    return std::make_unique<DeviceDecoder>(std::move(device));
}

}  // namespace kvmon
