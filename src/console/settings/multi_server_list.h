// The stored list of further recorders.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kvmon {

class COrvoRegistry;

struct SavedServer {
    std::string name;  // may be empty
    std::string address;
    std::uint32_t port = 80;
    std::string user;
    std::string password;
    std::uint32_t channelCount = 0;  // known at the last save
    bool nameGiven = false;          // by the user, so that the recorder's own does not replace it
};

inline constexpr int kMaxServers = 64;  // each has threads of its own

// The same login at the same place; such a one is listed once.
bool IsSameLogin(const SavedServer& a, const SavedServer& b);

// "user@address:port", which names a first server's list.
std::string ServerIdentity(const SavedServer& server);

// A text from outside as one key of the settings tree; never a path in it.
std::string KeyFromName(std::string_view name);

// The list of the server with this identity. Entries without address or user, or with a password that
// cannot be read, are left out.
std::vector<SavedServer> LoadServerList(const COrvoRegistry& registry, const std::string& identity);

// Stores the list under a name and under the identity of each of its servers. Fewer than two servers are no
// list: the one of that name is deleted then.
void SaveServerList(COrvoRegistry& registry, const std::string& listName,
                    const std::vector<SavedServer>& servers);

// A server that was taken off a list no longer leads to it.
void ForgetServer(COrvoRegistry& registry, const SavedServer& server);

}  // namespace kvmon
