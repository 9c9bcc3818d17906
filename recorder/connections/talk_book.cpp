#include "connections/talk_book.h"

#include <chrono>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string_view>

#include "media/oldest_files.h"
#include "media/sound_coder.h"
#include "media/wav_file.h"

namespace kvrecorder {
namespace {

constexpr int kRate = 8000;
constexpr int kMostNames = 1000;  // within one second

constexpr std::string_view kPrefix = "talk-";
constexpr std::string_view kSuffix = ".wav";

std::string FileName(int channel, int turn) {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm local{};
    ::localtime_r(&now, &local);
    char time[32];
    std::strftime(time, sizeof time, "%Y%m%d-%H%M%S", &local);
    return std::string(kPrefix) + "ch" + std::to_string(channel) + "-" + time +
           (turn > 0 ? "-" + std::to_string(turn) : "") + std::string(kSuffix);
}

// A file that is not there yet; null if the folder takes none.
std::unique_ptr<WavWriter> MakeFile(int channel, const TalkFolder& folder) {
    DeleteOldest(folder.path, kPrefix, kSuffix, folder.limitMb * kMegabyte);
    std::error_code ignored;
    std::string path;
    for (int turn = 0; turn < kMostNames && (path.empty() || std::filesystem::exists(path, ignored));
         ++turn) {
        path = folder.path + "/" + FileName(channel, turn);
    }
    try {
        return std::make_unique<WavWriter>(path, kRate, folder.group);
    } catch (const std::runtime_error& failure) {
        std::cerr << "kvrecorder: " << failure.what() << std::endl;
        return nullptr;
    }
}

}  // namespace

class TalkBook::Entry final : public Talk {
public:
    Entry(TalkBook& book, int channel, const TalkFolder& folder, std::shared_ptr<CameraTalk> camera)
        : m_book(book), m_channel(channel), m_decoder(CreateTalkDecoder()), m_camera(std::move(camera)) {
        if (!folder.path.empty()) {
            m_file = MakeFile(channel, folder);
        }
    }
    ~Entry() override { m_book.End(m_channel, this); }

    bool Hear(std::span<const char> bytes) override {
        std::vector<std::uint8_t> coded(bytes.begin(), bytes.end());
        const std::vector<std::int16_t> samples = m_decoder->Decode(coded);
        if (m_file) {
            m_file->Write(samples);
        }
        return !m_camera || m_camera->Say(samples);
    }

private:
    TalkBook& m_book;
    const int m_channel;
    const std::unique_ptr<SoundDecoder> m_decoder;
    const std::shared_ptr<CameraTalk> m_camera;  // null: none
    std::unique_ptr<WavWriter> m_file;
};

std::unique_ptr<Talk> TalkBook::Begin(int channel, const std::string& user, const TalkFolder& folder,
                                      std::shared_ptr<CameraTalk> camera, std::function<void()> giveWay) {
    std::function<void()> before;
    std::unique_ptr<Entry> entry;
    {
        const std::lock_guard lock(m_mutex);
        const auto talker = m_talkers.find(channel);
        if (talker != m_talkers.end() && talker->second.user != user) {
            return nullptr;
        }
        entry = std::make_unique<Entry>(*this, channel, folder, std::move(camera));
        if (talker != m_talkers.end()) {
            before = std::move(talker->second.giveWay);
        }
        m_talkers[channel] = {user, entry.get(), std::move(giveWay)};
    }
    if (before) {
        before();
    }
    return entry;
}

void TalkBook::End(int channel, const Entry* entry) {
    const std::lock_guard lock(m_mutex);
    const auto talker = m_talkers.find(channel);
    if (talker != m_talkers.end() && talker->second.entry == entry) {
        m_talkers.erase(talker);
    }
}

}  // namespace kvrecorder
