#include "app/decoding_device.h"

#include "channel/camera/default_factories.h"
#include "codec/libav_device.h"

namespace kvmon {

DecodingDevice::DecodingDevice(const std::string& choice) : m_search(choice, OpenLibavDevice) {
    if (m_search.IsOn()) {
        Factories().videoDecoder = [source = m_search.Source()] { return CreateHardwareDecoder(source); };
    }
}

}  // namespace kvmon
