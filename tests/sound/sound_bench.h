// A recorder with sounding channels, and cards that keep what a client plays.
#pragma once

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "../recorder/fake_hub.h"
#include "audio/wave_out_device.h"
#include "media/media_clock.h"
#include "service/recorder_service.h"
#include "support/temp_folder.h"
#include "support/wait_until.h"

namespace kvtest {

using Samples = std::vector<std::int16_t>;

// How much of what was heard is what was wanted: its power over that of the error. 1000 for no error.
inline double Decibels(std::span<const std::int16_t> wanted, std::span<const std::int16_t> heard) {
    double sound = 0;
    double error = 0;
    for (std::size_t i = 0; i < heard.size(); ++i) {
        sound += std::pow(wanted[i], 2);
        error += std::pow(heard[i] - wanted[i], 2);
    }
    return error == 0 ? 1000 : 10 * std::log10(sound / error);
}

// A clock that stands still until the test moves it.
class StandingClock final : public kvrecorder::MediaClock {
public:
    kvrecorder::MediaTime Now() override { return kvrecorder::MediaTime(m_now); }
    std::chrono::system_clock::time_point WallTime() override { return {}; }
    void WaitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                   kvrecorder::MediaTime) override {
        wake.wait_for(lock, std::chrono::milliseconds(1));
    }
    void Advance(std::chrono::milliseconds time) { m_now += kvrecorder::MediaTime(time).count(); }

private:
    std::atomic<std::int64_t> m_now{0};
};

// All cards of a test, and the switches of those who own them.
class Cards {
public:
    // Throws away nothing: what was played while its switch was on, card by card in the order of making.
    std::vector<Samples> Played() const {
        const std::lock_guard lock(m_mutex);
        std::vector<Samples> all;
        for (const auto& card : m_cards) {
            all.push_back(card->played);
        }
        return all;
    }
    Samples Last() const {
        const std::lock_guard lock(m_mutex);
        return m_cards.empty() ? Samples() : m_cards.back()->played;
    }
    // Cards that are open now.
    int Open() const {
        const std::lock_guard lock(m_mutex);
        return static_cast<int>(
            std::count_if(m_cards.begin(), m_cards.end(), [](const auto& c) { return c->open; }));
    }
    // The most switches that were on together while something was played.
    int MostTogether() const {
        const std::lock_guard lock(m_mutex);
        return m_mostTogether;
    }
    // The first sample of what was played last; 0 before.
    int Heard() const {
        const std::lock_guard lock(m_mutex);
        return m_heard;
    }
    void Forget() {
        const std::lock_guard lock(m_mutex);
        m_heard = 0;
    }

    std::unique_ptr<kvmon::SoundCard> Make(const kvmon::SoundFlag& audible) {
        const std::lock_guard lock(m_mutex);
        m_cards.push_back(std::make_shared<State>(audible));
        return std::make_unique<Card>(*this, m_cards.back());
    }

private:
    struct State {
        explicit State(const kvmon::SoundFlag& flag) : audible(flag) {}
        const kvmon::SoundFlag audible;
        Samples played;
        bool open = false;
    };

    class Card final : public kvmon::SoundCard {
    public:
        Card(Cards& cards, std::shared_ptr<State> state) : m_cards(cards), m_state(std::move(state)) {}
        ~Card() override { Close(); }
        bool Open(const kvmon::PcmFormat&) override {
            const std::lock_guard lock(m_cards.m_mutex);
            return m_state->open = true;
        }
        bool Play(std::span<const std::uint8_t> block) override {
            const std::lock_guard lock(m_cards.m_mutex);
            if (!m_state->audible) {
                return true;
            }
            int together = 0;
            for (const auto& card : m_cards.m_cards) {
                together += card->open && card->audible ? 1 : 0;
            }
            m_cards.m_mostTogether = std::max(m_cards.m_mostTogether, together);
            for (std::size_t i = 0; i + 1 < block.size(); i += 2) {
                m_state->played.push_back(static_cast<std::int16_t>(block[i] | block[i + 1] << 8));
            }
            m_cards.m_heard = m_state->played.back();
            return true;
        }
        void Close() override {
            const std::lock_guard lock(m_cards.m_mutex);
            m_state->open = false;
        }
        void Cancel() override {}

    private:
        Cards& m_cards;
        const std::shared_ptr<State> m_state;
    };

    mutable std::mutex m_mutex;
    std::vector<std::shared_ptr<State>> m_cards;
    int m_mostTogether = 0;
    int m_heard = 0;
};

inline constexpr char kAdminLogin[] = "YWRtaW46c2VjcmV0";

// "admin:secret" may do everything, and "second:secret" too.
class SoundingRecorder {
public:
    explicit SoundingRecorder(std::size_t channels) {
        config.users.push_back(kvrecorder::MakeFullUser("admin", "secret"));
        config.users.push_back(kvrecorder::MakeFullUser("second", "secret"));
        config.channels = kvrecorder::DemoChannels(static_cast<int>(channels));
    }
    void Start() {
        model->Begin(config);
        service = std::make_unique<kvrecorder::RecorderService>(model, options);
        service->Start();
    }
    std::uint16_t Port() const { return service->Port(); }
    // A picture for all who watch: sound goes out behind the first one.
    void ShowPicture() {
        for (int channel = 0; channel < static_cast<int>(config.channels.size()); ++channel) {
            for (const int stream : {0, 1}) {
                hub->Push(channel, stream, MakePacket(true, 100, 0));
            }
        }
    }

    kvrecorder::RecorderConfig config;
    kvrecorder::ServiceOptions options;
    std::shared_ptr<FakeHub> hub = std::make_shared<FakeHub>();
    std::shared_ptr<kvrecorder::RecorderModel> model = std::make_shared<kvrecorder::RecorderModel>(hub);
    std::unique_ptr<kvrecorder::RecorderService> service;
};

}  // namespace kvtest
