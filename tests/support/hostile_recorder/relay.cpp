#include "relay.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "document_lies.h"
#include "stream_lies.h"
#include "wire/frame_header.h"

namespace hostile {

namespace {

constexpr std::size_t kMostFlood = 8 << 20;
constexpr std::size_t kMostRecord = 16 << 20;
constexpr int kRelayRoundMs = 50;
constexpr int kLongestDripMs = 20'000;
constexpr int kStallsMs[] = {500, 2'000, 10'000, 120'000};

std::string RequestLine(const std::string& head) {
    return head.substr(0, head.find('\r'));
}

std::string PathOf(const std::string& line) {
    const std::size_t begin = std::min(line.find(' '), line.size());
    return line.substr(begin, line.find(" HTTP/", begin) - begin);
}

// 0 without the words.
int NumberBehind(const std::string& text, const std::string& words) {
    const std::size_t at = text.find(words);
    return at == std::string::npos ? 0 : std::atoi(text.c_str() + at + words.size());
}

std::uint32_t Word(const std::string& head, std::size_t offset) {
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        word |= static_cast<std::uint32_t>(static_cast<unsigned char>(head[offset + i])) << 8 * i;
    }
    return word;
}

// A line of a notification connection that says something, something else or nothing.
std::string Notification(Dice& dice) {
    constexpr const char* kLines[] = {"1\n",   "2\n",  "2\n",  "3\n",  "4\n", "\n",
                                      "2\r\n", " 2\n", "22\n", "-1\n", "1",   "2"};
    constexpr const char* kFloods[] = {"1\n", "2\n", "4\n", "\n"};
    if (dice.OneIn(12)) {
        std::string flood;
        const std::string line = dice.Of(kFloods);
        for (std::size_t i = dice.Below(30'000); i > 0; --i) {
            flood += line;
        }
        return flood;
    }
    if (dice.OneIn(12)) {
        return std::string(dice.Below(3000), dice.OneIn(2) ? 'x' : '\0') + (dice.OneIn(2) ? "\n" : "");
    }
    return dice.Of(kLines);
}

}  // namespace

void Relay::ServeRecorder() {
    const std::string head = m_client.TakeHead();
    const std::string path = PathOf(RequestLine(head));
    if (path.empty()) {
        return;
    }
    const Dice dice = m_mood.DiceFor(path);
    const auto is = [&](const char* name) { return path.find(name) != std::string::npos; };
    if (is("getstream.cgi")) {
        ServeStream(head, path, dice);
    } else if (is("notify.cgi")) {
        ServeNotify(head, dice);
    } else if (is("putaudiostream.cgi")) {
        ServeTalk(head, dice);
    } else {
        ServeDocument(head, path, dice);
    }
}

void Relay::ServeDocument(const std::string& head, const std::string& path, Dice dice) {
    Link recorder(Link::Connect(m_truth.port), m_ending);
    if (!recorder.Send(head)) {
        return;
    }
    std::string reply = recorder.TakeAll();
    NoteTruth(path, reply);
    const bool bList = path.find("get_init_info") != std::string::npos;
    if (Lies(kReplacesDocuments, dice)) {
        reply = OtherRecorder(m_mood.DiceOfTurn()).Reply(path, reply);
        m_mood.CountLie();
    }
    if (Lies(kCutsDocuments, dice)) {
        Tell(SpoilReply(reply, !bList, dice));
    } else {
        m_client.Send(reply);
    }
}

void Relay::NoteTruth(const std::string& path, std::string& reply) {
    if (path.find("get_init_info") != std::string::npos) {
        int cameraPort = 0;
        reply = WithCameraPort(reply, m_truth.ownCameraPort, &cameraPort);
        if (cameraPort != 0) {
            m_truth.cameraPort = static_cast<std::uint16_t>(cameraPort);
        }
    }
    if (path.find("getmultistreaminfo") != std::string::npos) {
        for (std::size_t n = 0; n < m_truth.streams.size(); ++n) {
            m_truth.streams[n] = NumberBehind(reply, "<ch" + std::to_string(n) + "><stream_no>");
        }
    }
}

bool Relay::HasStream(const std::string& path) const {
    const auto channel = static_cast<std::size_t>(NumberBehind(path, "?ch="));
    const int streams = channel < m_truth.streams.size() ? m_truth.streams[channel].load() : 0;
    return streams == 0 || NumberBehind(path, "&stream_id=") < streams;
}

void Relay::Tell(const Told& told) {
    m_mood.CountLie();
    if (!m_client.Send(told.bytes)) {
        return;
    }
    switch (told.ending) {
        case Ending::Close:
            break;
        case Ending::Reset:
            m_client.MakeReset();
            break;
        case Ending::Stall:
            m_client.Stall(kStallsMs[told.bytes.size() % std::size(kStallsMs)]);
            break;
        case Ending::Drip:
            for (int ms = 0; ms < kLongestDripMs && !m_ending && m_mood.Is(kAll); ms += kRelayRoundMs) {
                const auto at = static_cast<std::size_t>(ms / kRelayRoundMs);
                if (at >= told.rest.size() || !m_client.Send(told.rest.substr(at, 1))) {
                    break;
                }
                m_client.Stall(kRelayRoundMs);
            }
            break;
        case Ending::Flood:
            for (std::size_t sent = 0; sent < kMostFlood && !told.rest.empty() && m_mood.Is(kAll);
                 sent += told.rest.size()) {
                if (!m_client.Send(told.rest)) {
                    break;
                }
            }
            break;
    }
}

bool Relay::EndSomehow(Dice& dice) {
    m_mood.CountLie();
    switch (dice.Below(8)) {
        case 0:
        case 1:
            return true;
        case 2:
        case 3:
            m_client.MakeReset();
            break;
        case 4:
            m_client.Stall(dice.Of(kStallsMs));
            break;
        default:
            break;
    }
    return false;
}

void Relay::ServeStream(std::string head, const std::string& path, Dice dice) {
    if (!HasStream(path)) {
        m_client.Send("HTTP/1.0 404 Not Found\r\n\r\n");
        return;
    }
    const bool bOther = m_mood.Is(kReplacesDocuments) && dice.OneIn(2);
    if (const std::size_t at = path.find("?ch="); bOther && at != std::string::npos) {
        // The stream of another channel, and so of another code.
        const int channel = NumberBehind(path, "?ch=");
        const std::size_t begin = head.find("?ch=") + 4;
        head.replace(begin, head.find('&') - begin,
                     std::to_string(OtherRecorder(m_mood.DiceOfTurn()).Stream(channel)));
    }
    Link recorder(Link::Connect(m_truth.port), m_ending);
    if (!recorder.Send(head)) {
        return;
    }
    const std::string reply = recorder.TakeHead();
    if (Lies(kSpoilsStreams, dice) && dice.OneIn(4)) {
        Tell(SpoilReply(reply, true, dice));
        return;
    }
    if (m_client.Send(reply)) {
        PassRecords(recorder, dice);
    }
}

void Relay::PassRecords(Link& recorder, Dice& dice) {
    bool bLies = Lies(kSpoilsStreams, dice);
    std::size_t trueOnes = dice.Below(8);
    std::size_t spoiltOnes = 1 + dice.Below(12);
    RecordLiar liar(dice);
    const std::uint64_t turn = m_mood.Turn();
    for (;;) {
        std::string record = recorder.TakeExactly(wire::kFrameHeaderSize, &m_client);
        if (record.size() < wire::kFrameHeaderSize) {
            return;
        }
        const std::size_t size = Word(record, wire::kDataSizeOffset);
        record += recorder.TakeExactly(std::min(size, kMostRecord), &m_client);
        // What is open when the mood changes ends then; a lie that was not noticed may go on.
        if (m_mood.Turn() != turn && (bLies || m_mood.Is(kSpoilsStreams))) {
            return;
        }
        if (bLies && trueOnes > 0) {
            --trueOnes;
        } else if (bLies && spoiltOnes > 0) {
            --spoiltOnes;
            record = liar.Tell(std::move(record));
        } else if (bLies) {
            record.resize(dice.Below(record.size() + 1));
            if (!m_client.Send(record) || !EndSomehow(dice)) {
                return;
            }
            bLies = false;
            continue;
        }
        if (!m_client.Send(record)) {
            return;
        }
    }
}

void Relay::ServeNotify(const std::string& head, Dice dice) {
    Link recorder(Link::Connect(m_truth.port), m_ending);
    if (!recorder.Send(head)) {
        return;
    }
    std::string said = recorder.TakeHead();
    if (Lies(kSpoilsNotifications, dice) && dice.OneIn(3)) {
        Tell(SpoilReply(said, true, dice));
        return;
    }
    std::uint64_t turn = m_mood.Turn();
    bool bInsideLine = false;
    while (m_client.Send(said)) {
        bInsideLine = said.empty() ? bInsideLine : !said.ends_with('\n');
        if (std::exchange(turn, m_mood.Turn()) != turn) {
            // Whoever listens is told of the change, unless that would be part of a longer line.
            if (bInsideLine || dice.OneIn(2)) {
                return;
            }
            said = "2\n";
            continue;
        }
        const auto part = recorder.Take(kRelayRoundMs);
        if (!part || !m_client.Take(0)) {
            return;
        }
        said = *part;
        if (m_mood.Is(kSpoilsNotifications) && dice.OneIn(20)) {
            said += Notification(dice);
            m_mood.CountLie();
            if (dice.OneIn(10) && !EndSomehow(dice)) {
                return;
            }
        }
    }
}

void Relay::ServeTalk(const std::string& head, Dice dice) {
    Link recorder(Link::Connect(m_truth.port), m_ending);
    bool bGoesOn = recorder.Send(head);
    std::size_t left = Lies(kCutsDocuments, dice) ? dice.Below(20'000) : static_cast<std::size_t>(-1);
    while (bGoesOn) {
        const auto said = m_client.Take(kRelayRoundMs);
        const auto heard = recorder.Take(0);
        bGoesOn = said && heard && recorder.Send(*said) && m_client.Send(*heard);
        if (bGoesOn && said->size() >= left) {
            bGoesOn = EndSomehow(dice);
            left = static_cast<std::size_t>(-1);
        }
        left -= bGoesOn ? std::min(left, said->size()) : 0;
    }
}

void Relay::ServeCamera() {
    const std::string head = m_client.TakeHead();
    const std::string path = PathOf(RequestLine(head));
    Link camera(Link::Connect(m_truth.cameraPort), m_ending);
    if (path.empty() || !camera.Send(head)) {
        return;
    }
    Dice dice = m_mood.DiceFor("camera" + path);
    bool bLies = Lies(kSpoilsStreams, dice);
    std::size_t parts = dice.Below(40);
    const std::uint64_t turn = m_mood.Turn();
    for (;;) {
        auto part = camera.Take(kRelayRoundMs);
        if (!part || m_client.HasLeft() || (m_mood.Turn() != turn && (bLies || m_mood.Is(kSpoilsStreams)))) {
            return;
        }
        if (bLies && !part->empty()) {
            *part = parts % 3 == 0 ? TellPart(std::move(*part), dice) : *part;
            if (parts-- == 0) {
                if (!EndSomehow(dice)) {
                    return;
                }
                bLies = false;
            }
        }
        if (!m_client.Send(*part)) {
            return;
        }
    }
}

}  // namespace hostile
