// A small stream made of a camera's large one.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "media/cost_meter.h"
#include "media/packet.h"
#include "media/stream_config.h"

namespace kvrecorder {

// Decodes all and encodes a part of it. One thread at a time.
class SmallPictures {
public:
    SmallPictures();
    ~SmallPictures();
    SmallPictures(const SmallPictures&) = delete;
    SmallPictures& operator=(const SmallPictures&) = delete;

    static StreamDescription Description();

    // Begins with a key picture; damaged ones give nothing.
    std::vector<PacketPtr> Make(const std::vector<PacketPtr>& pictures);
    // The share of a processor that it takes, in percent: told once, when it is known.
    std::optional<int> Cost() { return m_cost.Share(); }

private:
    struct Coders;

    std::unique_ptr<Coders> m_coders;
    CostMeter m_cost;
};

}  // namespace kvrecorder
