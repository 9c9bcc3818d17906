#include "web/host/sign_in_log.h"

namespace kvmon {

void SignInLog::Tell(bool accepted, const std::string& address, Clock::time_point now) {
    if (now - m_minute >= std::chrono::minutes(1)) {
        if (m_left > 0) {
            m_tell({kvhost::Level::Warning, std::to_string(m_left) + " further sign-ins were not told", {}});
        }
        m_minute = now;
        m_told = 0;
        m_left = 0;
    }
    if (++m_told > kMostAMinute) {
        ++m_left;
        return;
    }
    const std::string outcome = accepted ? "accepted" : "refused";
    m_tell({accepted ? kvhost::Level::Information : kvhost::Level::Warning,
            "sign-in " + outcome + " from " + address + " of a page",
            {{"KV_EVENT", "sign-in-" + outcome}, {"KV_ADDRESS", address}}});
}

}  // namespace kvmon
