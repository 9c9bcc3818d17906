// Looks for cameras on the network.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "media/fault.h"
#include "media/secret.h"

namespace kvrecorder {

struct FoundCamera {
    std::string url;  // onvif://host, as configurations take it
    std::string host;
    std::string maker;  // these three as far as they are told
    std::string model;
    std::string name;
    std::vector<std::string> streamUrls;  // if it tells them, to nobody or to the user below
    Fault trouble;                        // what kept it from telling more; that it wants a user is none
};

struct SearchSetup {
    // This machine's addresses to ask from, "::1" and "fe80::1%eth0" among them; none: all of its networks.
    std::vector<std::string> from;
    // Asked in place of all who listen: a camera behind a router.
    std::string at;
    std::uint16_t port = 3702;
    std::chrono::milliseconds time{3'000};     // for answers
    std::chrono::milliseconds details{6'000};  // for what those that answered tell of themselves
    std::string user;                          // of the cameras; may be empty
    Secret password;
    std::function<bool()> ended;  // null: nothing ends it early
};

// Waits for the told times. Each camera comes once, at the address that it answered from. Throws CameraError
// when nobody can be asked.
std::vector<FoundCamera> SearchCameras(const SearchSetup& setup);

// What a datagram adds to the list; `endpoints` are the names of those in it.
void AddFound(std::string_view datagram, const std::string& sender, std::vector<FoundCamera>& found,
              std::vector<std::string>& endpoints);

}  // namespace kvrecorder
