#include "codec/device_decoder.h"

extern "C" {
#include <libavutil/frame.h>
}

#include <utility>

#include "codec/deep_picture.h"

namespace kvmon {

namespace {

// More units than pictures ever wait for one another.
constexpr int kMaxWithoutPicture = 20;

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

    void Close() override {
        m_session.reset();
        m_nWithoutPicture = 0;
    }

private:
    int Decode(std::span<const std::uint8_t> input, DecodedPicture& output) {
        AVFrame* const frame = output.Frame();
        if (frame == nullptr) {
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
            av_frame_unref(frame);
            if (step == HardwareSession::Step::Failed || !m_session->ReadBack(*frame) ||
                !MakePlanar(*frame) || !MakeEightBit(*frame) || output.View().IsEmpty()) {
                return kDecodeBadData;
            }
            bPicture = true;
        }
        m_nWithoutPicture = bPicture || m_bLeavesOut ? 0 : m_nWithoutPicture + 1;
        return bPicture                                 ? kDecodeOk
               : m_nWithoutPicture > kMaxWithoutPicture ? kDecodeBadData
                                                        : kDecodeNeedMoreData;
    }

    const std::shared_ptr<HardwareDevice> m_device;
    std::unique_ptr<HardwareSession> m_session;
    int m_nWithoutPicture = 0;
    bool m_bLeavesOut = false;
};

}  // namespace

std::unique_ptr<VideoDecoder> CreateDeviceDecoder(std::shared_ptr<HardwareDevice> device) {
    return std::make_unique<DeviceDecoder>(std::move(device));
}

}  // namespace kvmon
