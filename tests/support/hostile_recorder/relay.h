// One connection between the client and the true recorder, with all that may go wrong in it.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

#include "link.h"
#include "mood.h"

namespace hostile {

struct Truth {
    std::uint16_t port = 0;                    // of the recorder
    std::atomic<std::uint16_t> cameraPort{0};  // of its cameras, when a list of channels has told it
    std::uint16_t ownCameraPort = 0;           // where this program stands in for them
    // How many each channel has, when a document has told it. Others are refused, as by most recorders.
    std::array<std::atomic<int>, 128> streams{};
};

class Relay {
public:
    Relay(Link& client, Mood& mood, Truth& truth, const std::atomic<bool>& ending)
        : m_client(client), m_mood(mood), m_truth(truth), m_ending(ending) {}

    void ServeRecorder();
    void ServeCamera();

private:
    void ServeDocument(const std::string& head, const std::string& path, Dice dice);
    void ServeStream(std::string head, const std::string& path, Dice dice);
    void ServeNotify(const std::string& head, Dice dice);
    // Both ways; the lie is an end at some point.
    void ServeTalk(const std::string& head, Dice dice);
    // Whether the recorder has the stream that is asked for.
    bool HasStream(const std::string& path) const;
    void NoteTruth(const std::string& path, std::string& reply);
    void PassRecords(Link& recorder, Dice& dice);
    // What the client gets, until the end that goes with it.
    void Tell(const struct Told& told);
    // The connection ends in one of several ways. True if it goes on all the same.
    bool EndSomehow(Dice& dice);
    // The mood lies about this, and so does this connection.
    bool Lies(unsigned mood, Dice& dice) const { return m_mood.Is(mood) && !dice.OneIn(4); }

    Link& m_client;
    Mood& m_mood;
    Truth& m_truth;
    const std::atomic<bool>& m_ending;
};

}  // namespace hostile
