// What the client tells the process that holds one share, and what it hears.
//
// Each connected share is a process of its own, kvmon-shares beside the client's program. The SMB library is
// not made for several threads, waits for hosts that are gone and speaks with whatever answers there: a
// process can be ended at any moment, and nothing of the client is within its reach. It reads one request
// from its standard input, writes the result as a decimal and a line end to its standard output, then, of a
// share that is connected, a line with the path of the folder in which programs read it, empty for none; and
// holds both until its input ends.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kvmon {

inline constexpr const char* kShareProgram = "kvmon-shares";
// A port other than that of SMB, for tests.
inline constexpr const char* kSharePortVariable = "KVMON_SMB_PORT";

// Results, numbered as pages and traces know them from network connections of old.
inline constexpr int kShareConnected = 0;
inline constexpr int kShareNoSuchFolder = 3;
inline constexpr int kShareNotSupported = 50;
inline constexpr int kShareNoSuchHost = 53;     // does not exist, refuses, or is not to be reached
inline constexpr int kShareNetworkFailed = 59;  // anything else
inline constexpr int kShareNoSuchShare = 67;    // or no name of one
inline constexpr int kShareTooMany = 68;
inline constexpr int kShareTimedOut = 121;
inline constexpr int kShareNoFolder = 267;  // the name is a file's
inline constexpr int kShareCancelled = 1223;
inline constexpr int kShareLoginRefused = 1326;  // unknown user, wrong password, or no right to the share

struct ShareRequest {
    std::string url;
    std::string user;
    std::string domain;  // mostly empty
    std::string password;
};
inline constexpr std::size_t kMaxShareRequest = 8 * 1024;

// "domain\user" is split. Nothing for a credential that the protocol cannot carry.
std::optional<ShareRequest> MakeShareRequest(std::string url, std::string_view user,
                                             std::string_view password);
std::string WriteShareRequest(const ShareRequest& request);
// Nothing before all of it has come.
std::optional<ShareRequest> ReadShareRequest(std::string_view bytes);

}  // namespace kvmon
