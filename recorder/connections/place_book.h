// The connections of one port, and the places that they take.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "state/recorder_config.h"
#include "state/source_address.h"

namespace kvrecorder {

// How many connections there may be: in all, of one address, of one user.
struct Places {
    explicit Places(const ServerConfig& server)
        : all(static_cast<std::size_t>(server.maxConnections)),
          address(Share(server.addressConnections, all * 3 / 4)),
          user(Share(server.userConnections, all / 2)) {}

    std::size_t all;
    std::size_t address;
    std::size_t user;

private:
    static std::size_t Share(int told, std::size_t untold) {
        return told > 0 ? static_cast<std::size_t>(told) : untold;
    }
};

// May be used from any thread. A Peer has GivesWay(), Began() and Close(), which may be called from any
// thread too and return at once.
template <typename Peer>
class PlaceBook {
public:
    using PeerPtr = std::shared_ptr<Peer>;

    // Takes the connection in. Where places are short, the oldest that gives way makes room, one of the same
    // address if that has too many; false if there is none such.
    bool Admit(const Places& places, const SourceAddress& from, PeerPtr peer) {
        const std::lock_guard lock(m_mutex);
        const auto taken = m_addresses.find(from);
        if (taken != m_addresses.end() && taken->second >= places.address && !DropOldest(&from)) {
            return false;
        }
        if (m_peers.size() >= places.all && !DropOldest(nullptr)) {
            return false;
        }
        ++m_addresses[from];
        m_peers.emplace(std::move(peer), Entry{from, {}});
        return true;
    }
    // The connection serves this user; false if the user has too many already.
    bool Claim(const PeerPtr& peer, const Places& places, const std::string& user) {
        const std::lock_guard lock(m_mutex);
        const auto found = m_peers.find(peer);
        if (found == m_peers.end() || user.empty()) {
            return found != m_peers.end();
        }
        std::size_t& count = m_users[user];
        if (count >= places.user) {
            return false;
        }
        ++count;
        found->second.user = user;
        return true;
    }
    // The user is served: the connection counts no more as theirs.
    void Unclaim(const PeerPtr& peer) {
        const std::lock_guard lock(m_mutex);
        if (const auto found = m_peers.find(peer); found != m_peers.end()) {
            Unclaim(found->second);
        }
    }
    void Remove(const PeerPtr& peer) {
        const std::lock_guard lock(m_mutex);
        if (const auto found = m_peers.find(peer); found != m_peers.end()) {
            Drop(found);
        }
    }
    std::vector<PeerPtr> All() const {
        const std::lock_guard lock(m_mutex);
        std::vector<PeerPtr> all;
        for (const auto& [peer, entry] : m_peers) {
            all.push_back(peer);
        }
        return all;
    }
    // Waits until none is left; false at the time's end.
    bool WaitEmpty(std::chrono::milliseconds timeout) const {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] { return m_peers.empty(); });
    }

private:
    struct Entry {
        SourceAddress from;
        std::string user;
    };
    using Peers = std::unordered_map<PeerPtr, Entry>;

    template <typename Key>
    static void Subtract(std::map<Key, std::size_t>& counts, const Key& key) {
        const auto count = counts.find(key);
        if (--count->second == 0) {
            counts.erase(count);
        }
    }
    void Unclaim(Entry& entry) {
        if (!entry.user.empty()) {
            Subtract(m_users, entry.user);
            entry.user.clear();
        }
    }
    void Drop(typename Peers::iterator found) {
        Unclaim(found->second);
        Subtract(m_addresses, found->second.from);
        m_peers.erase(found);
        m_changed.notify_all();
    }
    // Of all, or of one address. Counted out at once, so that a burst does not drop more than it needs.
    bool DropOldest(const SourceAddress* from) {
        auto oldest = m_peers.end();
        for (auto peer = m_peers.begin(); peer != m_peers.end(); ++peer) {
            if (peer->first->GivesWay() && (from == nullptr || peer->second.from == *from) &&
                (oldest == m_peers.end() || peer->first->Began() < oldest->first->Began())) {
                oldest = peer;
            }
        }
        if (oldest == m_peers.end()) {
            return false;
        }
        oldest->first->Close();
        Drop(oldest);
        return true;
    }

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    Peers m_peers;
    std::map<SourceAddress, std::size_t> m_addresses;
    std::map<std::string, std::size_t> m_users;
};

}  // namespace kvrecorder
