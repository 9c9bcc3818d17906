// A wave device that only keeps what it is told.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "audio/wave_out_device.h"

namespace kvtest {

// What all devices of a test were told.
struct Played {
    std::vector<kvmon::WaveFormats> opened;
    std::vector<std::string> written;
    int closed = 0;
    bool refuse = false;
};
inline Played played;

class WaveLog final : public kvmon::WaveOutput {
public:
    static std::unique_ptr<kvmon::WaveOutput> Make() { return std::make_unique<WaveLog>(); }

    bool Open(const kvmon::WaveFormats& formats) override {
        played.opened.push_back(formats);
        return !played.refuse;
    }
    void Close() override { ++played.closed; }
    bool Write(std::span<const std::uint8_t> data) override {
        played.written.emplace_back(data.begin(), data.end());
        return true;
    }
};

}  // namespace kvtest
