#include "control/playback_shares.h"

#include <optional>

#include "control/auth_text.h"
#include "control/host_ports.h"
#include "persist/log_file.h"
#include "platform/secret_memory.h"
#include "platform/text.h"
#include "shares/share_request.h"

namespace kvmon {

namespace {

// The password is the page's secret: it is in no trace.
constexpr const char* kHiddenPassword = "********";

// What of a text fits into a line of the trace. A page's list may be long, and it is traced for each share.
std::string Traced(const std::string& text) {
    return Utf16Left(text, 1024);
}

// The text before the first "+", which is taken off the list. Nothing for an empty list.
std::optional<std::string> TakeShare(std::string& list) {
    if (list.empty()) {
        return std::nullopt;
    }
    const std::size_t end = list.find('+');
    std::string share = list.substr(0, end);
    list.erase(0, end == std::string::npos ? end : end + 1);
    return share;
}

}  // namespace

PlaybackShares::~PlaybackShares() {
    Unprepare();
}

int PlaybackShares::Prepare(const std::string& authText, const std::string& shares) {
    auto credential = DecodeAuthText(authText);
    if (!credential) {
        return -1;
    }
    const WipeAtEnd wipe(credential->second);
    if (credential->first.empty() || credential->second.empty()) {
        return -1;
    }
    if (shares.size() > kMaxListBytes) {
        Trace("PlaybackShares: the list has %zu bytes...\n", shares.size());
        return -1;
    }
    if (m_bPreparing) {
        return -1;
    }
    m_strFolderList = shares;
    m_bPreparing = true;
    const bool bDone = Walk(credential->first, credential->second, shares);
    m_bPreparing = false;
    return bDone ? 0 : -1;
}

bool PlaybackShares::Walk(const std::string& user, const std::string& password, std::string list) {
    const std::uint64_t begin = m_clock.TickMs();
    bool bAll = true;
    m_bDropped = false;
    for (int count = 0; const auto share = TakeShare(list); ++count) {
        if (count == kMaxShares) {
            Trace("PlaybackShares: more than %d shares...\n", kMaxShares);
            return false;
        }
        Trace("strList = %s, strShareFolder = %s.\n", Traced(list).c_str(), Traced(*share).c_str());
        Trace("strUserName = %s, strPasswd = %s\n", user.c_str(), kHiddenPassword);
        const int code = Connect(user, password, *share, begin);
        if (code == kShareConnected) {
            Trace("ConnectSMBShare: connect %s successfully.\n", Traced(*share).c_str());
        } else {
            Trace("ConnectSMBShare: fail connect %s with code %d!\n", Traced(*share).c_str(), code);
            bAll = false;
        }
        if (m_port != nullptr && !m_bDropped) {
            m_port->OnTried(*share, code);
        }
        if (m_bDropped && code == kShareConnected) {
            m_port->Cancel(*share);
        }
        if (m_bDropped || code == kShareCancelled) {
            return false;
        }
    }
    return bAll;
}

int PlaybackShares::Connect(const std::string& user, const std::string& password, const std::string& share,
                            std::uint64_t begin) {
    if (m_port == nullptr) {
        return kShareNotSupported;
    }
    return m_clock.TickMs() - begin < kWalkMs ? m_port->Connect(user, password, share) : kShareTimedOut;
}

void PlaybackShares::Unprepare() {
    m_bDropped = true;
    while (const auto share = TakeShare(m_strFolderList)) {
        Trace("m_strFolderList = %s, strShareFolder = %s.\n", Traced(m_strFolderList).c_str(),
              Traced(*share).c_str());
        if (m_port != nullptr) {
            m_port->Cancel(*share);
        }
    }
}

}  // namespace kvmon
