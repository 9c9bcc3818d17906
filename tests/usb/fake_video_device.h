// A camera of this computer that is none: what the kernel would answer, for calls of this program.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kvtest {

// While it lives opening `path` gives it. One at a time; a picture every 40 ms.
class FakeVideoDevice {
public:
    struct Offer {
        std::uint32_t format;  // V4L2_PIX_FMT_...
        std::vector<std::string> pictures;
    };
    FakeVideoDevice(std::string path, int width, int height, std::vector<Offer> offers);
    ~FakeVideoDevice();
    FakeVideoDevice(const FakeVideoDevice&) = delete;
    FakeVideoDevice& operator=(const FakeVideoDevice&) = delete;

    // It is pulled out: all calls fail.
    void Pull();
    // It gives nothing, but is there.
    void Stall(bool stalls);
};

}  // namespace kvtest
