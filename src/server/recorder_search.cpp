#include "server/recorder_search.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <random>
#include <utility>

#include "platform/group_socket.h"
#include "platform/outside_text.h"
#include "platform/text.h"

namespace kvmon {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr Milliseconds kTime{2000};
// A datagram may be lost.
constexpr std::array<Milliseconds, 3> kRounds = {Milliseconds(0), Milliseconds(250), Milliseconds(1000)};
constexpr Milliseconds kWait{50};
// Of a network that floods: what is more is left to the system, which throws it away.
constexpr std::size_t kMostInOneWait = 256;

std::string MakeMark() {
    std::random_device source;
    std::string mark;
    for (std::size_t i = 0; i < wire::kSearchMark; ++i) {
        mark += static_cast<char>(source() & 0xFFU);
    }
    return mark;
}

std::string MakeQuestion(const std::string& mark) {
    std::string question(wire::kSearchQuestion);
    question += mark;
    question.resize(wire::kSearchQuestionSize);
    return question;
}

// A recorder of this computer answers on each of its networks.
template <typename IsOwn>
void KeepOnce(std::vector<FoundRecorder>& found, IsOwn isOwn) {
    const FoundRecorder& last = found.back();
    const bool bKnown = std::any_of(found.begin(), found.end() - 1, [&](const FoundRecorder& each) {
        return each.port == last.port && each.name == last.name && isOwn(each.address);
    });
    if (bKnown) {
        found.pop_back();
    }
}

}  // namespace

bool AddFoundRecorder(std::string_view datagram, std::string_view mark, const std::string& sender,
                      std::vector<FoundRecorder>& found) {
    constexpr std::size_t kHead = wire::kSearchAnswer.size() + wire::kSearchMark + 3;
    if (datagram.size() < kHead || !datagram.starts_with(wire::kSearchAnswer) ||
        datagram.substr(wire::kSearchAnswer.size(), wire::kSearchMark) != mark) {
        return false;
    }
    const auto byte = [datagram](std::size_t at) { return static_cast<unsigned char>(datagram[at]); };
    const auto port = static_cast<std::uint16_t>(byte(kHead - 3) << 8U | byte(kHead - 2));
    if (port == 0 || datagram.size() != kHead + byte(kHead - 1) || found.size() >= kMostFoundRecorders) {
        return false;
    }
    const auto atOne = std::count_if(found.begin(), found.end(),
                                     [&](const FoundRecorder& each) { return each.address == sender; });
    const bool bKnown = std::any_of(found.begin(), found.end(), [&](const FoundRecorder& each) {
        return each.address == sender && each.port == port;
    });
    if (bKnown || static_cast<std::size_t>(atOne) >= kMostFoundAtOne) {
        return false;
    }
    std::string name = OutsideLine(datagram.substr(kHead));
    std::replace(name.begin(), name.end(), '\n', ' ');
    std::replace(name.begin(), name.end(), '\r', ' ');
    found.push_back({std::string(TrimRight(name, " ")), sender, port});
    return true;
}

struct RecorderSearch::State {
    std::atomic<bool> bStopped{false};
    std::mutex cs;
    SearchNews news;       // these two guarded by cs
    bool bPosted = false;  // and not taken yet
};

void RecorderSearch::Run(State& state, const SearchPlace& place, const WindowHandle& receiver,
                         std::uint32_t message, std::uint32_t number) {
    const auto tell = [&](auto change) {
        bool bPost = false;
        {
            const std::lock_guard lock(state.cs);
            change(state.news);
            bPost = !std::exchange(state.bPosted, true);
        }
        if (bPost && !state.bStopped) {
            receiver.Post(message, number, 0);
        }
    };
    GroupSocket socket;
    if (!socket.Open(place.from)) {
        tell([](SearchNews& news) { news.bEnded = news.bNobodyAsked = true; });
        return;
    }
    const std::string mark = MakeMark();
    const std::string question = MakeQuestion(mark);
    std::vector<FoundRecorder> found;
    std::size_t round = 0;
    int told = 0;
    const auto begin = SteadyClock::now();
    for (auto now = begin; now < begin + kTime && !state.bStopped; now = SteadyClock::now()) {
        if (round < kRounds.size() && now >= begin + kRounds[round]) {
            ++round;
            socket.Send(question, wire::kSearchGroup, place.port != 0 ? place.port : wire::kSearchPort);
        }
        const std::size_t before = found.size();
        socket.Receive(kWait, kMostInOneWait, wire::kSearchMostAnswer,
                       [&](std::string_view datagram, const std::string& sender) {
                           if (AddFoundRecorder(datagram, mark, sender, found) && socket.IsOwn(sender)) {
                               KeepOnce(found, [&](const std::string& each) { return socket.IsOwn(each); });
                           }
                       });
        const auto percent = std::min(static_cast<int>((SteadyClock::now() - begin) * 100 / kTime), 100);
        if (percent != told || found.size() != before) {
            told = percent;
            tell([&](SearchNews& news) {
                news.found = found;
                news.percent = percent;
            });
        }
    }
    tell([](SearchNews& news) {
        news.bEnded = true;
        news.percent = 100;
    });
}

std::uint32_t RecorderSearch::Start(const SearchPlace& place, WindowHandle receiver, std::uint32_t message) {
    Stop();
    const auto state = std::make_shared<State>();
    const std::uint32_t number = ++m_nNumber;
    if (!m_thread.Start("recordersearch", [state, place, receiver = std::move(receiver), message, number] {
            Run(*state, place, receiver, message, number);
        })) {
        return 0;
    }
    m_state = state;
    return number;
}

void RecorderSearch::Stop() {
    if (m_state) {
        m_state->bStopped = true;
        m_state.reset();
    }
    if (!m_thread.Wait(Milliseconds(0))) {
        m_thread.Abandon();
    }
}

SearchNews RecorderSearch::Take() {
    if (!m_state) {
        return {};
    }
    const std::lock_guard lock(m_state->cs);
    m_state->bPosted = false;
    return m_state->news;
}

}  // namespace kvmon
