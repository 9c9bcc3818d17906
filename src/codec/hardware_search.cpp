#include "codec/hardware_search.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <optional>
#include <utility>

#include "codec/device_decoder.h"
#include "codec/libav_device.h"
#include "codec/speed_film.h"
#include "platform/diagnostics.h"

namespace kvmon {

namespace {

using SteadyClock = std::chrono::steady_clock;
// Of three devices and of software: 200 ms in all.
constexpr std::chrono::milliseconds kMeasureFor{50};
constexpr int kMeasuredRounds = 20;

constexpr char kAnyDevice[] = "auto";
constexpr char kNoDevice[] = "off";

}  // namespace

struct HardwareSearch::Found {
    std::mutex mutex;
    std::shared_ptr<HardwareDevice> device;

    void Set(std::shared_ptr<HardwareDevice> found) {
        const std::lock_guard lock(mutex);
        device = std::move(found);
    }
};

std::vector<std::string> HardwareChoices() {
    std::vector<std::string> choices = {kAnyDevice, kNoDevice};
    const auto names = LibavDeviceNames();
    choices.insert(choices.end(), names.begin(), names.end());
    return choices;
}

double MeasureDecoder(VideoDecoder& decoder) {
    const auto film = SpeedFilm();
    const auto end = SteadyClock::now() + kMeasureFor;
    double best = -1;
    for (int round = 0; round < kMeasuredRounds && (round == 0 || SteadyClock::now() < end); ++round) {
        if (decoder.Init({kStreamTypeH264, 0, 0, 1}) != kDecodeOk) {
            return -1;
        }
        // Opening is not counted, nor is the first picture, at which devices set up what they need.
        SteadyClock::time_point begin;
        DecodedPicture picture;
        for (std::size_t i = 0; i < film.size(); ++i) {
            if (decoder.GetFrame(film[i], picture) != kDecodeOk) {
                return -1;
            }
            if (i == 0) {
                begin = SteadyClock::now();
            } else if (i > 1 && SteadyClock::now() > end) {
                const std::chrono::duration<double, std::micro> took = SteadyClock::now() - begin;
                return best < 0 ? took.count() / static_cast<double>(i) : best;
            }
        }
        const std::chrono::duration<double, std::micro> took = SteadyClock::now() - begin;
        const double each = took.count() / static_cast<double>(film.size() - 1);
        best = best < 0 ? each : std::min(best, each);
    }
    return best;
}

namespace {

double MeasureSoftware() {
    const auto decoder = CreateVideoDecoder();
    return MeasureDecoder(*decoder);
}

// `here`: what software takes, measured when it is first asked for.
bool IsFaster(const std::shared_ptr<HardwareDevice>& device, std::optional<double>& here) {
    const auto onDevice = CreateDeviceDecoder(device);
    const double there = MeasureDecoder(*onDevice);
    if (there < 0) {
        Diagnose("hardware decoding: %s does not decode\n", device->Name().c_str());
        return false;
    }
    here = here.has_value() ? here : MeasureSoftware();
    const bool bFaster = there < *here;
    Diagnose("hardware decoding: %s takes %.0f us a picture, software %.0f: %s decodes\n",
             device->Name().c_str(), there, *here, bFaster ? device->Name().c_str() : "software");
    return bFaster;
}

std::shared_ptr<HardwareDevice> SearchDevice(const std::string& choice, const HardwareSearch::Open& open) {
    if (choice != kAnyDevice) {
        auto device = open(choice);
        Diagnose(device ? "hardware decoding: %s decodes\n"
                        : "hardware decoding: %s is not there, software decodes\n",
                 choice.c_str());
        return device;
    }
    std::optional<double> inSoftware;
    for (const char* const name : LibavDeviceNames()) {
        if (auto device = open(name); device && IsFaster(device, inSoftware)) {
            return device;
        }
    }
    Diagnose("hardware decoding: no device is faster than software, which decodes\n");
    return nullptr;
}

}  // namespace

HardwareSearch::HardwareSearch(const std::string& choice, Open open)
    : m_found(std::make_shared<Found>()), m_bOn(choice != kNoDevice) {
    if (m_bOn) {
        m_worker.Start("hardware", [found = m_found, choice, open = std::move(open)] {
            found->Set(SearchDevice(choice, open));
        });
    }
}

HardwareSource HardwareSearch::Source() const {
    return [found = m_found] {
        const std::lock_guard lock(found->mutex);
        return found->device;
    };
}

}  // namespace kvmon
