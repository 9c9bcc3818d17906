// Channels whose pictures a test hands out.
#pragma once

#include <algorithm>
#include <map>
#include <mutex>

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

class FakeHub final : public MediaHub {
public:
    int AddChannel(const std::string& name, const SourceConfig& source) override {
        if (source.file == "/missing") {
            throw std::runtime_error("cannot read /missing");
        }
        const std::lock_guard lock(mutex_);
        names_.push_back(name);
        return static_cast<int>(names_.size()) - 1;
    }
    void SetListener(MediaListener listener) override {
        const std::lock_guard lock(mutex_);
        listener_ = std::move(listener);
    }
    void Tell(int channel, MediaEvent event, bool on) {
        MediaListener listener;
        {
            const std::lock_guard lock(mutex_);
            listener = listener_;
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
        const std::lock_guard lock(mutex_);
        names_.at(static_cast<std::size_t>(channel)) = name;
    }
    std::vector<StreamDescription> Streams(int) const override {
        return {{Codec::H264, 640, 480, 15}, {Codec::Mjpeg, 176, 144, 5}};
    }
    std::unique_ptr<Subscription> Subscribe(int channel, int stream,
                                            std::function<void(const PacketPtr&)> sink) override {
        const std::lock_guard lock(mutex_);
        sinks_[next_] = {channel, stream, std::move(sink)};
        return std::make_unique<Held>(*this, next_++);
    }

    void Push(int channel, int stream, const PacketPtr& packet) {
        const std::lock_guard lock(mutex_);
        for (const auto& [id, sink] : sinks_) {
            if (sink.channel == channel && sink.stream == stream) {
                sink.take(packet);
            }
        }
    }
    std::size_t Watchers() const {
        const std::lock_guard lock(mutex_);
        return sinks_.size();
    }
    // Since the beginning.
    int Subscribed() const {
        const std::lock_guard lock(mutex_);
        return next_;
    }
    std::string Name(std::size_t channel) const {
        const std::lock_guard lock(mutex_);
        return names_.at(channel);
    }

private:
    struct Sink {
        int channel;
        int stream;
        std::function<void(const PacketPtr&)> take;
    };
    struct Held final : Subscription {
        Held(FakeHub& owner, int number) : hub(owner), id(number) {}
        ~Held() override {
            const std::lock_guard lock(hub.mutex_);
            hub.sinks_.erase(id);
        }
        FakeHub& hub;
        int id;
    };

    mutable std::mutex mutex_;
    std::vector<std::string> names_;
    MediaListener listener_;
    std::map<int, Sink> sinks_;
    int next_ = 0;
};

}  // namespace kvtest
