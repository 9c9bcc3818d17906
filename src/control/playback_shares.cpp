#include "control/playback_shares.h"

#include <optional>

#include "control/auth_text.h"
#include "control/host_ports.h"
#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr int kNoPort = 50;  // the number of a request that the system does not know

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
    const auto credential = DecodeAuthText(authText);
    if (!credential || credential->first.empty() || credential->second.empty()) {
        return -1;
    }
    m_strFolderList = shares;
    std::string list = shares;
    int result = 0;
    while (const auto share = TakeShare(list)) {
        Trace("strList = %s, strShareFolder = %s.\n", list.c_str(), share->c_str());
        const int code =
            m_port != nullptr ? m_port->Connect(credential->first, credential->second, *share) : kNoPort;
        if (code == 0) {
            Trace("ConnectSMBShare: connect %s successfully.\n", share->c_str());
        } else {
            Trace("ConnectSMBShare: fail connect %s with code %d!\n", share->c_str(), code);
            result = -1;
        }
    }
    return result;
}

void PlaybackShares::Unprepare() {
    while (const auto share = TakeShare(m_strFolderList)) {
        Trace("m_strFolderList = %s, strShareFolder = %s.\n", m_strFolderList.c_str(), share->c_str());
        if (m_port != nullptr) {
            m_port->Cancel(*share);
        }
    }
}

}  // namespace kvmon
