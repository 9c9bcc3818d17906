// Channels whose pictures a test hands out.
#pragma once

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>

#include "media/media_hub.h"
#include "wire/frame_header.h"

namespace kvtest {

using namespace kvrecorder;

inline PacketPtr MakePacket(bool key, std::size_t size, std::int64_t timeMs, char fill = 'x') {
    auto packet = std::make_shared<Packet>();
    packet->fourcc = wire::kZ264;
    packet->key = key;
    packet->width = 640;
    packet->height = 480;
    packet->timeMs = timeMs;
    packet->data.assign(size, static_cast<std::uint8_t>(fill));
    return packet;
}
inline PacketPtr KeyPacket(std::size_t size, std::int64_t timeMs, char fill = 'x') {
    return MakePacket(true, size, timeMs, fill);
}
inline PacketPtr DeltaPacket(std::size_t size, std::int64_t timeMs, char fill = 'x') {
    return MakePacket(false, size, timeMs, fill);
}

class FakeHub final : public MediaHub {
public:
    int AddChannel(const std::string& name, const SourceConfig& source) override {
        if (source.file == "/missing") {
            throw std::runtime_error("cannot read /missing");
        }
        const std::lock_guard lock(m_mutex);
        m_names.push_back(name);
        return static_cast<int>(m_names.size()) - 1;
    }
    void SetListener(MediaListener listener) override {
        const std::lock_guard lock(m_mutex);
        m_listener = std::move(listener);
    }
    void Tell(int channel, MediaEvent event, bool on) {
        MediaListener listener;
        {
            const std::lock_guard lock(m_mutex);
            listener = m_listener;
        }
        listener(channel, event, on);
    }
    void ReplaceSource(int channel, const std::string& name, const SourceConfig& source) override {
        if (source.file == "/missing") {
            throw std::runtime_error("cannot read /missing");
        }
        RenameChannel(channel, name);
    }
    void RenameChannel(int channel, const std::string& name) override {
        const std::lock_guard lock(m_mutex);
        m_names.at(static_cast<std::size_t>(channel)) = name;
    }
    std::string Words(int) const override { return trouble.Empty() ? words : trouble.words; }
    Fault Trouble(int) const override { return trouble.Empty() ? Fault(words) : trouble; }
    std::unique_ptr<Subscription> SubscribeSound(int, std::function<void(const PacketPtr&)>) override {
        return nullptr;
    }
    std::optional<double> MotionShare(int channel) const override {
        return channel == 0 ? motionShare : std::nullopt;
    }
    std::vector<StreamDescription> Streams(int) const override {
        return {{Codec::H264, 640, 480, 15}, {Codec::Mjpeg, 176, 144, 5}};
    }
    std::unique_ptr<Subscription> Subscribe(int channel, int stream,
                                            std::function<void(const PacketPtr&)> sink) override {
        const std::lock_guard lock(m_mutex);
        m_sinks[m_next] = {channel, stream, std::move(sink)};
        return std::make_unique<Held>(*this, m_next++);
    }

    void Push(int channel, int stream, const PacketPtr& packet) {
        const std::lock_guard lock(m_mutex);
        for (const auto& [id, sink] : m_sinks) {
            if (sink.channel == channel && sink.stream == stream) {
                sink.take(packet);
            }
        }
    }
    std::size_t Watchers() const {
        const std::lock_guard lock(m_mutex);
        return m_sinks.size();
    }
    // How many subscriptions there have been since the beginning.
    int Subscribed() const {
        const std::lock_guard lock(m_mutex);
        return m_next;
    }
    std::string Name(std::size_t channel) const {
        const std::lock_guard lock(m_mutex);
        return m_names.at(channel);
    }

    std::string words;                  // of the event that is told next
    Fault trouble;                      // where it has a code
    std::optional<double> motionShare;  // of channel 0

private:
    struct Sink {
        int channel;
        int stream;
        std::function<void(const PacketPtr&)> take;
    };
    struct Held final : Subscription {
        Held(FakeHub& owner, int number) : hub(owner), id(number) {}
        ~Held() override {
            const std::lock_guard lock(hub.m_mutex);
            hub.m_sinks.erase(id);
        }
        FakeHub& hub;
        int id;
    };

    mutable std::mutex m_mutex;
    std::vector<std::string> m_names;
    MediaListener m_listener;
    std::map<int, Sink> m_sinks;
    int m_next = 0;
};

}  // namespace kvtest
