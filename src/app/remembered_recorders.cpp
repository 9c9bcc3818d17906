#include "app/remembered_recorders.h"

#include <algorithm>

#include "persist/credential_store.h"
#include "persist/orvo_registry.h"
#include "platform/text.h"

namespace kvmon {

namespace {

constexpr const char* kRoot = "Desktop\\Recorders";

std::string SectionOf(int slot) {
    return FormatText("%s\\R%02d", kRoot, slot);
}

std::optional<RememberedRecorder> Read(const COrvoRegistry& registry, int slot) {
    const std::string section = SectionOf(slot);
    RememberedRecorder found;
    found.slot = slot;
    found.entry.address = registry.GetProfileString(section, "Address", {});
    found.entry.port = registry.GetProfileInt(section, "Port", 0);
    found.entry.user = registry.GetProfileString(section, "Username", {});
    found.entry.name = registry.GetProfileString(section, "Name", {});
    found.entry.bRemember = true;
    found.bInKeyRing = registry.GetProfileInt(section, "KeyRing", 0) != 0;
    found.used = registry.GetProfileInt(section, "Used", 0);
    const bool bGood = !found.entry.address.empty() && !found.entry.user.empty() && found.entry.port > 0 &&
                       found.entry.port < 65536;
    return bGood ? std::optional(found) : std::nullopt;
}

}  // namespace

std::vector<RememberedRecorder> RememberedRecorders::All() const {
    std::vector<RememberedRecorder> all;
    for (int slot = 0; slot < kMaxRemembered; ++slot) {
        if (auto found = Read(m_registry, slot)) {
            all.push_back(std::move(*found));
        }
    }
    std::stable_sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.used > b.used; });
    return all;
}

std::optional<RememberedRecorder> RememberedRecorders::Find(const SignInEntry& wanted) const {
    for (RememberedRecorder& each : All()) {
        if (IsSameSignIn(each.entry, wanted)) {
            return std::move(each);
        }
    }
    return std::nullopt;
}

std::optional<RememberedRecorder> RememberedRecorders::FindAt(const std::string& address,
                                                              std::uint32_t port) const {
    for (RememberedRecorder& each : All()) {
        if (each.entry.address == address && each.entry.port == port) {
            return std::move(each);
        }
    }
    return std::nullopt;
}

std::optional<std::string> RememberedRecorders::Password(const RememberedRecorder& recorder) const {
    return recorder.bInKeyRing
               ? std::nullopt
               : GetEncryptPasswd(m_registry, SectionOf(recorder.slot), "Passwd", recorder.entry.user);
}

std::optional<RememberedRecorder> RememberedRecorders::Put(const SignInEntry& entry,
                                                           const std::optional<std::string>& password) {
    if (password && !CanEncryptPasswd(entry.user, *password)) {
        Remove(entry);
        return std::nullopt;
    }
    const auto all = All();
    const auto same = std::find_if(all.begin(), all.end(),
                                   [&](const auto& each) { return IsSameSignIn(each.entry, entry); });
    std::optional<RememberedRecorder> gone;
    int slot = 0;
    if (same != all.end()) {
        slot = same->slot;
    } else if (all.size() == static_cast<std::size_t>(kMaxRemembered)) {
        gone = all.back();
        slot = gone->slot;
    } else {
        const auto isTaken = [&](const auto& each) { return each.slot == slot; };
        while (std::any_of(all.begin(), all.end(), isTaken)) {
            ++slot;
        }
    }
    const COrvoRegistry::Batch together(m_registry);
    const std::string section = SectionOf(slot);
    m_registry.WriteProfileString(section, "Address", entry.address);
    m_registry.WriteProfileInt(section, "Port", entry.port);
    m_registry.WriteProfileString(section, "Username", entry.user);
    m_registry.WriteProfileString(section, "Name", entry.name);
    m_registry.WriteProfileInt(section, "KeyRing", password ? 0 : 1);
    m_registry.WriteProfileInt(section, "Used", all.empty() ? 1 : all.front().used + 1);
    if (password) {
        SaveEncryptPasswd(m_registry, section, "Passwd", entry.user, *password);
    } else {
        m_registry.WriteProfileBinary(section, "Passwd", {});
    }
    return gone;
}

void RememberedRecorders::Remove(const SignInEntry& entry) {
    if (const auto found = Find(entry)) {
        m_registry.DeleteSection(SectionOf(found->slot));
    }
}

}  // namespace kvmon
