// Which device decodes, by what the user chose.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "codec/hardware_decoder.h"
#include "platform/worker.h"

namespace kvmon {

// "auto", "off" and the names of devices.
std::vector<std::string> HardwareChoices();

// Microseconds a picture, the best of several rounds of a short film within 50 ms; negative if the decoder
// does not decode it all.
double MeasureDecoder(VideoDecoder& decoder);

// Opens the device of that name by `open`, or with "auto" each in turn until one decodes a short film faster
// than software does, which takes at most 200 ms for all of them beside the opening. On a thread of its own:
// decoders take the device at the first key picture after it is found. What was found, and how fast, is
// traced.
class HardwareSearch {
public:
    using Open = std::function<std::shared_ptr<HardwareDevice>(const std::string& name)>;

    HardwareSearch(const std::string& choice, Open open);
    bool IsOn() const { return m_bOn; }
    // May outlive the search.
    HardwareSource Source() const;
    // True when the search is over.
    bool Wait(Milliseconds timeout) { return m_worker.Wait(timeout); }

private:
    struct Found;
    const std::shared_ptr<Found> m_found;
    const bool m_bOn;
    Worker m_worker;
};

}  // namespace kvmon
