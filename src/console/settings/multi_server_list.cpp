#include "console/settings/multi_server_list.h"

#include <algorithm>
#include <optional>

#include "persist/credential_store.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "platform/outside_text.h"
#include "platform/text.h"

namespace kvmon {

namespace {

constexpr std::string_view kListsKey = "MultiServer";

std::string ListKey(const std::string& listName) {
    return FormatText("MultiServer\\%s", listName.c_str());
}

std::string EntryKey(const std::string& listName, int i) {
    return FormatText("MultiServer\\%s\\%02d", listName.c_str(), i);
}

std::optional<SavedServer> LoadEntry(const COrvoRegistry& registry, const std::string& key) {
    SavedServer server;
    server.name = OutsideLine(registry.GetProfileString(key, "Name", {}));
    server.address = OutsideLine(registry.GetProfileString(key, "IPAddr", {}));
    server.port = registry.GetProfileInt(key, "Port", 80);
    server.user = registry.GetProfileString(key, "Username", {});
    server.channelCount = registry.GetProfileInt(key, "ChannelCount", 0);
    server.nameGiven = !server.name.empty() && registry.GetProfileInt(key, "NameGiven", 0) != 0;
    if (server.address.empty() || server.user.empty() || server.port < 1 || server.port > 65535) {
        return std::nullopt;
    }
    const auto password = GetEncryptPasswd(registry, key, "Passwd", server.user);
    if (!password) {
        return std::nullopt;
    }
    server.password = *password;
    return server;
}

void SaveEntry(COrvoRegistry& registry, const std::string& key, const SavedServer& server) {
    if (!server.name.empty()) {
        registry.WriteProfileString(key, "Name", server.name);
    }
    registry.WriteProfileString(key, "IPAddr", server.address);
    registry.WriteProfileInt(key, "Port", server.port);
    registry.WriteProfileString(key, "Username", server.user);
    SaveEncryptPasswd(registry, key, "Passwd", server.user, server.password);
    registry.WriteProfileInt(key, "ChannelCount", server.channelCount);
    if (server.nameGiven) {
        registry.WriteProfileInt(key, "NameGiven", 1);
    }
}

}  // namespace

std::string ServerIdentity(const SavedServer& server) {
    return FormatText("%s@%s:%u", server.user.c_str(), server.address.c_str(), server.port);
}

bool IsSameLogin(const SavedServer& a, const SavedServer& b) {
    return a.address == b.address && a.port == b.port && a.user == b.user;
}

std::string KeyFromName(std::string_view name) {
    std::string key = Utf16Left(name, 100);
    std::replace(key.begin(), key.end(), '\\', '_');
    return key;
}

std::vector<SavedServer> LoadServerList(const COrvoRegistry& registry, const std::string& identity) {
    const std::string listName = KeyFromName(registry.GetProfileString(kListsKey, identity, {}));
    if (listName.empty()) {
        return {};
    }
    // The file may hold any number.
    const int nCount = static_cast<int>(
        std::min<std::uint32_t>(registry.GetProfileInt(ListKey(listName), "Count", 0), kMaxServers));
    Trace("CMainDlg::LoadVSInfo: nCount=%d\n", nCount);
    std::vector<SavedServer> servers;
    for (int i = 0; i < nCount; ++i) {
        if (auto server = LoadEntry(registry, EntryKey(listName, i))) {
            servers.push_back(std::move(*server));
        }
    }
    return servers;
}

void SaveServerList(COrvoRegistry& registry, const std::string& listName,
                    const std::vector<SavedServer>& servers) {
    if (listName.empty()) {
        return;
    }
    const COrvoRegistry::Batch together(registry);
    registry.DeleteSection(ListKey(listName));
    if (servers.size() < 2) {
        return;
    }
    registry.WriteProfileInt(ListKey(listName), "Count", static_cast<std::uint32_t>(servers.size()));
    for (std::size_t i = 0; i < servers.size(); ++i) {
        registry.WriteProfileString(kListsKey, ServerIdentity(servers[i]), listName);
        SaveEntry(registry, EntryKey(listName, static_cast<int>(i)), servers[i]);
    }
}

void ForgetServer(COrvoRegistry& registry, const SavedServer& server) {
    registry.WriteProfileString(kListsKey, ServerIdentity(server), {});
}

}  // namespace kvmon
