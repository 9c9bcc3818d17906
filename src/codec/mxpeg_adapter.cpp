#include "codec/mxpeg_adapter.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "codec/video_decoder.h"
#include "platform/diagnostics.h"

namespace kvmon {

namespace {

constexpr int kMinWidth = 2100;
constexpr int kMinHeight = 1600;
constexpr int kMaxMxpegSide = 16384;
constexpr std::size_t kBytesPerPixel = 3;
constexpr std::size_t kMinLength = 256;
constexpr int kDumpNumbers = 10000;
constexpr std::uint8_t kFirstBytes[] = {0xFF, 0xD8, 0xFF, 0xE0};
constexpr std::uint8_t kNextImage[] = {0xFF, 0xD8};

class MxpegAdapter final : public CTRMxPEGDecoder {
public:
    MxpegAdapter(const MxpegLibrary& library, MxpegDump dump) : m_library(library), m_dump(dump) {}
    ~MxpegAdapter() override { Close(); }

    bool Open(int width, int height) override {
        Close();
        if (width <= 0 || height <= 0 || width > kMaxMxpegSide || height > kMaxMxpegSide) {
            return false;
        }
        const auto area = [](int w, int h) {
            return static_cast<std::size_t>(w) * static_cast<std::size_t>(h);
        };
        m_width = width;
        m_inputSize = area(std::max(width, kMinWidth), std::max(height, kMinHeight)) * kBytesPerPixel / 2;
        m_outputSize = area(width, height) * kBytesPerPixel;
        m_input.assign(m_inputSize + kInputPadding, 0);
        m_output.assign(m_outputSize, 0);
        m_handle = m_library.CZXPGInit(m_inputSize, m_outputSize);
        if (m_handle == nullptr) {
            Close();
        }
        return m_handle != nullptr;
    }

    bool DecodeFrame(std::span<const std::uint8_t> source, std::span<std::uint8_t> destination,
                     std::size_t rowBytes) override {
        const char* const fault = Decode(source, destination, rowBytes);
        if (fault != nullptr) {
            Diagnose("CTRMxPEGDecoder::DecodeFrame - %s\n", fault);
        }
        return fault == nullptr;
    }

    void Close() override {
        if (m_handle != nullptr) {
            m_library.CZXPGFree(m_handle);
        }
        m_handle = nullptr;
        m_width = 0;
        m_inputSize = m_outputSize = 0;
        m_input = {};
        m_output = {};
    }

private:
    // Null when the picture is in the destination, else what was wrong.
    const char* Decode(std::span<const std::uint8_t> source, std::span<std::uint8_t> destination,
                       std::size_t rowBytes) {
        if (source.data() == nullptr) {
            return "pSrcBuffer==NULL.";
        }
        if (source.size() < sizeof kFirstBytes ||
            !std::equal(std::begin(kFirstBytes), std::end(kFirstBytes), source.begin())) {
            return "!(FFD8FFE0).";
        }
        if (m_handle == nullptr) {
            return "pLib==NULL.";
        }
        if (source.size() < kMinLength || source.size() + sizeof kNextImage > m_inputSize ||
            destination.size() < m_outputSize ||
            rowBytes != static_cast<std::size_t>(m_width) * kBytesPerPixel) {
            return "BufferSize error.";
        }
        const std::size_t length = FrameLength(source);
        if (length == 0) {
            return "FFD9 error.";
        }
        std::memcpy(m_input.data(), source.data(), source.size());
        // The library looks for the beginning of the next image.
        std::memcpy(m_input.data() + length, kNextImage, sizeof kNextImage);
        std::memset(m_input.data() + length + sizeof kNextImage, 0, kInputPadding);
        try {
            if (m_library.CZXPGDecodeFrame(m_handle, m_input.data(), length + sizeof kNextImage,
                                           m_output.data(), m_outputSize) <= 0) {
                return "CZXPGDecodeFrame() failed.";
            }
        } catch (...) {
            if (m_dump != nullptr) {
                m_dump(m_dumpNumber, source);
            }
            m_dumpNumber = (m_dumpNumber + 1) % kDumpNumbers;
            return "exception occurred.";
        }
        std::memcpy(destination.data(), m_output.data(), m_outputSize);
        return nullptr;
    }

    // Up to and with the first end of image that does not lie before byte 254; 0 if there is none.
    static std::size_t FrameLength(std::span<const std::uint8_t> source) {
        for (std::size_t i = kMinLength; i <= source.size(); ++i) {
            if (source[i - 2] == 0xFF && source[i - 1] == 0xD9) {
                return i;
            }
        }
        return 0;
    }

    const MxpegLibrary& m_library;
    const MxpegDump m_dump;
    void* m_handle = nullptr;
    int m_width = 0;
    std::size_t m_inputSize = 0;
    std::size_t m_outputSize = 0;
    std::vector<std::uint8_t> m_input;
    std::vector<std::uint8_t> m_output;
    int m_dumpNumber = 0;
};

}  // namespace

std::unique_ptr<CTRMxPEGDecoder> CreateMxpegDecoder(const MxpegLibrary& library, MxpegDump dump) {
    return std::make_unique<MxpegAdapter>(library, dump);
}

}  // namespace kvmon
