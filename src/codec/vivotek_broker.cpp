#include "codec/vivotek_broker.h"

#include <bit>
#include <map>
#include <utility>

namespace kvmon {

namespace {

constexpr std::uint32_t kStatusNoPicture = 6;

struct Contexts {
    std::mutex cs;
    std::map<std::uintptr_t, std::shared_ptr<VivotekChannel>> channels;
    std::uintptr_t nLast = 0;
};

// Never destroyed: the library's threads do not end with the program's statics.
Contexts& AllContexts() {
    static Contexts& contexts = *new Contexts;
    return contexts;
}

std::shared_ptr<VivotekChannel> Find(void* context) {
    Contexts& all = AllContexts();
    const std::lock_guard lock(all.cs);
    const auto entry = all.channels.find(std::bit_cast<std::uintptr_t>(context));
    return entry != all.channels.end() ? entry->second : nullptr;
}

}  // namespace

std::int32_t VivotekChannel::Decode(VivotekPacket& packet, std::span<std::uint8_t> output) {
    Roomy<VivotekVideoOutput> record;
    record.told.capacity = static_cast<std::uint32_t>(output.size());
    record.told.buffer = output.data();
    auto length = static_cast<std::int32_t>(output.size());
    if (library.AvSynchronizer_DecodeVideo(hChannel, &packet, &record.told, &length) < 0) {
        return -1;
    }
    return length < 0 || static_cast<std::size_t>(length) > output.size() ? 0 : length;
}

void* AddVivotekContext(std::shared_ptr<VivotekChannel> channel) {
    Contexts& all = AllContexts();
    const std::lock_guard lock(all.cs);
    all.channels[++all.nLast] = std::move(channel);
    return std::bit_cast<void*>(all.nLast);
}

void RemoveVivotekContext(void* context) {
    Contexts& all = AllContexts();
    const std::lock_guard lock(all.cs);
    all.channels.erase(std::bit_cast<std::uintptr_t>(context));
}

std::int32_t OnBrokerStatus(void* context, std::uint32_t status) {
    const auto channel = Find(context);
    if (channel && status == kStatusNoPicture) {
        const std::lock_guard lock(channel->cs);
        channel->outputLength = 0;
        channel->answered.Set();
    }
    return 0;
}

std::int32_t OnBrokerPacket(void* context, VivotekPacket* packet) {
    const auto channel = Find(context);
    if (!channel || packet == nullptr) {
        return 0;
    }
    const std::lock_guard lock(channel->cs);
    // A packet of another kind leaves the length, and with it the picture before, as it is.
    if (channel->hChannel != nullptr && IsVivotekVideo(packet->mediaType)) {
        channel->outputLength = channel->Decode(*packet, std::span(channel->work).first(channel->capacity));
    }
    channel->answered.Set();
    return 0;
}

}  // namespace kvmon
