#include "codec/hardware_decoder.h"

#include <utility>

#include "codec/coded_group.h"
#include "codec/device_decoder.h"
#include "platform/diagnostics.h"

namespace kvmon {

namespace {

// Of one Init: a stream that is bad in each group is left to software.
constexpr int kMaxOpens = 8;

class HardwareDecoder final : public VideoDecoder {
public:
    explicit HardwareDecoder(HardwareSource source) : m_source(std::move(source)) {}

    int Init(const VideoDecoderParams& params) override {
        Close();
        m_params = params;
        // Software judges what can be opened, and decodes until there is a device.
        const int status = m_software->Init(params);
        m_bOpen = status == kDecodeOk;
        m_bMayTry = params.streamType == kStreamTypeH264 || params.streamType == kStreamTypeH265;
        return status;
    }

    int GetFrame(std::span<const std::uint8_t> input, DecodedPicture& output) override {
        output.Clear();
        if (!m_bOpen || input.empty() || (!m_onDevice && !m_bMayTry && !m_bWaitsForKey)) {
            return m_software->GetFrame(input, output);
        }
        const UnitContents contents = LookInto(m_params.streamType, input);
        if (!m_onDevice && m_bMayTry && contents.key) {
            TryDevice();
        }
        if (m_onDevice) {
            m_group.Add(input, contents);
            const int status = m_onDevice->GetFrame(input, output);
            return status == kDecodeOk || status == kDecodeNeedMoreData ? status : FallBack(output);
        }
        if (m_bWaitsForKey && !contents.key) {
            return kDecodeNeedMoreData;
        }
        if (std::exchange(m_bWaitsForKey, false)) {
            FeedSets();
        }
        return m_software->GetFrame(input, output);
    }

    void SetLeavesOut(bool bLeavesOut) override {
        m_bLeavesOut = bLeavesOut;
        m_software->SetLeavesOut(bLeavesOut);
        if (m_onDevice) {
            m_onDevice->SetLeavesOut(bLeavesOut);
        }
    }

    void SetShownSize(const ShownSize& shown) override {
        m_shown = shown;
        if (m_onDevice) {
            m_onDevice->SetShownSize(shown);
        }
    }

    void Close() override {
        m_onDevice.reset();
        m_software->Close();
        m_group.Clear();
        m_bOpen = m_bMayTry = m_bWaitsForKey = false;
        m_nOpens = 0;
    }

private:
    void TryDevice() {
        const std::shared_ptr<HardwareDevice> device = m_source();
        if (!device) {
            return;
        }
        m_name = device->Name();
        m_bMayTry = false;
        ++m_nOpens;
        m_onDevice = CreateDeviceDecoder(device);
        m_onDevice->SetLeavesOut(m_bLeavesOut);
        m_onDevice->SetShownSize(m_shown);
        if (m_onDevice->Init(m_params) != kDecodeOk) {
            m_onDevice.reset();
            Diagnose("hardware decoding: %s opens no decoder for a channel, software decodes it\n",
                     m_name.c_str());
            return;
        }
        m_software->Close();
    }

    // Decoding in software may begin without the sets that came with an earlier key picture.
    void FeedSets() {
        if (const CodedGroup::Unit& sets = m_group.Sets(); sets.size > 0) {
            DecodedPicture none;
            m_software->GetFrame(sets.Bytes(), none);
        }
    }

    // The last unit's picture from software that has seen all of its group.
    int FallBack(DecodedPicture& output) {
        m_onDevice.reset();
        Diagnose("hardware decoding: %s failed, software decodes on\n", m_name.c_str());
        if (const int status = m_software->Init(m_params); status != kDecodeOk) {
            m_bOpen = false;
            return status;
        }
        m_software->SetLeavesOut(m_bLeavesOut);
        if (!m_group.IsWhole()) {
            m_bWaitsForKey = true;
            return kDecodeNeedMoreData;
        }
        FeedSets();
        int status = kDecodeNeedMoreData;
        for (const CodedGroup::Unit& unit : m_group.Units()) {
            status = m_software->GetFrame(unit.Bytes(), output);
        }
        // What neither could read was no fault of the device.
        m_bMayTry = status == kDecodeBadData && m_nOpens < kMaxOpens;
        return status;
    }

    const HardwareSource m_source;
    const std::unique_ptr<VideoDecoder> m_software = CreateVideoDecoder();
    VideoDecoderParams m_params;
    ShownSize m_shown;
    std::string m_name;
    std::unique_ptr<VideoDecoder> m_onDevice;  // null: software decodes
    CodedGroup m_group;
    int m_nOpens = 0;
    bool m_bOpen = false;
    bool m_bMayTry = false;
    bool m_bWaitsForKey = false;
    bool m_bLeavesOut = false;
};

}  // namespace

std::unique_ptr<VideoDecoder> CreateHardwareDecoder(HardwareSource source) {
    return std::make_unique<HardwareDecoder>(std::move(source));
}

}  // namespace kvmon
