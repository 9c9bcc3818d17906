// Channels without pictures.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "media/media_hub.h"

namespace kvfuzz {

class EmptyHub final : public kvrecorder::MediaHub {
public:
    void SetListener(kvrecorder::MediaListener) override {}
    int AddChannel(const std::string&, const kvrecorder::SourceConfig&) override { return m_count++; }
    void ReplaceSource(int, const std::string&, const kvrecorder::SourceConfig&) override {}
    void RenameChannel(int, const std::string&) override {}
    std::vector<kvrecorder::StreamDescription> Streams(int) const override {
        return {{kvrecorder::Codec::H264, 640, 480, 15}};
    }
    std::unique_ptr<kvrecorder::Subscription> SubscribeSound(
        int /*channel*/, std::function<void(const kvrecorder::PacketPtr&)> /*sink*/) override {
        return nullptr;
    }
    std::unique_ptr<kvrecorder::Subscription> Subscribe(
        int, int, std::function<void(const kvrecorder::PacketPtr&)>) override {
        return nullptr;
    }

private:
    int m_count = 0;
};

}  // namespace kvfuzz
