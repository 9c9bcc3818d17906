// What is told in place of a recorder's true reply to one request.
#pragma once

#include <cstdint>
#include <string>

#include "dice.h"

namespace hostile {

enum class Ending {
    Close,
    Reset,
    Stall,  // the rest never comes
    Drip,   // the rest comes byte for byte
    Flood,  // the text comes again and again
};

struct Told {
    std::string bytes;
    Ending ending = Ending::Close;
    std::string rest;  // of a drip, and what is repeated in a flood
};

// A reply that is cut, spoilt or no reply at all. A refused login is not among these lies when `mayRefuse` is
// false: whoever is told that the password is wrong is right to go.
Told SpoilReply(const std::string& reply, bool mayRefuse, Dice& dice);

// Another recorder's documents, which agree with each other for the same number.
struct OtherRecorder {
    explicit OtherRecorder(Dice dice);

    int Channels(int count) const;
    // The reply as that recorder would give it; what it does not concern stays as it is.
    std::string Reply(const std::string& path, const std::string& reply) const;
    // The channel whose stream stands in for this one's.
    int Stream(int channel) const { return channel + m_shift; }

private:
    std::string List(const std::string& body) const;
    std::string Status(const std::string& body) const;
    std::string Further(const std::string& body) const;
    std::string Streams(std::string body) const;

    int m_more = 0;  // channels; negative for fewer
    bool m_renamed = false;
    bool m_turned = false;  // the first two channels have changed their places
    int m_shift = 0;
    std::string m_code;  // of all streams
    int m_streams = 0;   // of each channel; 0 leaves them
};

// The list of channels with this port in place of the one of the cameras, which goes to *pCameraPort when
// there is one.
std::string WithCameraPort(const std::string& reply, std::uint16_t port, int* pCameraPort);

}  // namespace hostile
