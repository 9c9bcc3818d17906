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
};

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

}  // namespace kvmon
