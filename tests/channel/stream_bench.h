// The places where a connection's records go, without a channel around them.
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "channel/stream/stream_pass.h"

namespace kvtest {

// Keeps what the reception reports of its stream. One thread.
class ReportLog final : public kvmon::StreamReports {
public:
    void NoteReceived() override { ++received; }
    void ReportStreamError(int nCode, int) override { errors.push_back(nCode); }
    void EndCameraPass(kvmon::CameraPatience&) override {}
    void RestartPlaying() override {}
    void ShowText(std::uint32_t uStringId) override { texts.push_back(uStringId); }

    int received = 0;
    std::vector<int> errors;
    std::vector<std::uint32_t> texts;
};

class StreamBench : public testing::Test {
protected:
    kvmon::StreamSinks Sinks(kvmon::LiveAudio* pAudio) {
        return {frames, counters, switches, pAudio, reports, decode};
    }
    // All frames that wait.
    std::vector<std::string> TakeAll() {
        std::vector<std::string> all;
        while (const auto frame = frames.TakeDecodeFrame()) {
            all.emplace_back(frame->Bytes().begin(), frame->Bytes().end());
        }
        return all;
    }

    const std::atomic<std::uint32_t> number{3};
    kvmon::FrameQueue frames{number};
    kvmon::ChannelCounters counters;
    kvmon::SoundSwitches switches;
    ReportLog reports;
    kvmon::ThreadControl control;
    kvmon::ThreadControl decode;
};

}  // namespace kvtest
