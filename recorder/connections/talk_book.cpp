#include "connections/talk_book.h"

#include <chrono>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "media/sound_coder.h"
#include "media/wav_file.h"

namespace kvrecorder {
namespace {

constexpr int kRate = 8000;
constexpr int kMostNames = 1000;  // within one second

std::string FileName(int channel, int turn) {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm local{};
    ::localtime_r(&now, &local);
    char time[32];
    std::strftime(time, sizeof time, "%Y%m%d-%H%M%S", &local);
    return "talk-ch" + std::to_string(channel) + "-" + time + (turn > 0 ? "-" + std::to_string(turn) : "") +
           ".wav";
}

// A file that is not there yet; null if the folder takes none.
std::unique_ptr<WavWriter> MakeFile(int channel, const std::string& folder) {
    std::error_code ignored;
    std::string path;
    for (int turn = 0; turn < kMostNames && (path.empty() || std::filesystem::exists(path, ignored));
         ++turn) {
        path = folder + "/" + FileName(channel, turn);
    }
    try {
        return std::make_unique<WavWriter>(path, kRate);
    } catch (const std::runtime_error& failure) {
        std::cerr << "kvrecorder: " << failure.what() << std::endl;
        return nullptr;
    }
}

}  // namespace

class TalkBook::Entry final : public Talk {
public:
    Entry(TalkBook& book, int channel, const std::string& folder)
        : book_(book), channel_(channel), decoder_(CreateTalkDecoder()) {
        if (!folder.empty()) {
            file_ = MakeFile(channel, folder);
        }
    }
    ~Entry() override { book_.End(channel_, this); }

    void Hear(std::span<const char> bytes) override {
        std::vector<std::uint8_t> coded(bytes.begin(), bytes.end());
        const std::vector<std::int16_t> samples = decoder_->Decode(coded);
        if (file_) {
            file_->Write(samples);
        }
    }

private:
    TalkBook& book_;
    const int channel_;
    const std::unique_ptr<SoundDecoder> decoder_;
    std::unique_ptr<WavWriter> file_;
};

std::unique_ptr<Talk> TalkBook::Begin(int channel, const std::string& user, const std::string& folder,
                                      std::function<void()> giveWay) {
    std::function<void()> before;
    std::unique_ptr<Entry> entry;
    {
        const std::lock_guard lock(mutex_);
        const auto talker = talkers_.find(channel);
        if (talker != talkers_.end() && talker->second.user != user) {
            return nullptr;
        }
        entry = std::make_unique<Entry>(*this, channel, folder);
        if (talker != talkers_.end()) {
            before = std::move(talker->second.giveWay);
        }
        talkers_[channel] = {user, entry.get(), std::move(giveWay)};
    }
    if (before) {
        before();
    }
    return entry;
}

void TalkBook::End(int channel, const Entry* entry) {
    const std::lock_guard lock(mutex_);
    const auto talker = talkers_.find(channel);
    if (talker != talkers_.end() && talker->second.entry == entry) {
        talkers_.erase(talker);
    }
}

}  // namespace kvrecorder
