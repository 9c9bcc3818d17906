#include "console/recorders/server_clock.h"

#include "console/ports/desk.h"
#include "console/settings/console_settings.h"
#include "platform/clock.h"
#include "server/recorder_list.h"

namespace kvmon {

namespace {

constexpr std::uint64_t kAgainMs = 10000;    // after a failure
constexpr std::uint64_t kFollowMs = 600000;  // clocks drift, and are set
constexpr Milliseconds kReadingEnd{3000};

}  // namespace

ServerClock::~ServerClock() {
    for (auto& [server, reading] : m_readings) {
        reading.thread.Wait(kReadingEnd);
    }
    for (Worker& thread : m_ending) {
        thread.Wait(kReadingEnd);
    }
}

void ServerClock::OnRecorderRemoved(const CKelvaraInfo& server) {
    const auto found = m_readings.find(&server);
    if (found == m_readings.end()) {
        return;
    }
    if (!found->second.thread.Wait(Milliseconds(0))) {
        m_ending.push_back(std::move(found->second.thread));
    }
    m_readings.erase(found);
}

void ServerClock::OnTick() {
    if (!m_desk.IsLoggedIn() || !m_settings.options.bShowSnapshotTimeStamp) {
        return;
    }
    const std::uint64_t now = m_clock.TickMs();
    for (int i = 0; i < m_recorders.GetServerCount(); ++i) {
        const CKelvaraInfo* const server = m_recorders.GetServer(i);
        if (!server->IsConnected()) {
            continue;
        }
        Reading& reading = m_readings[server];
        const std::uint64_t period = server->IsServerTimeKnown() ? kFollowMs : kAgainMs;
        if ((reading.asked && now - *reading.asked < period) || !reading.thread.Wait(Milliseconds(0))) {
            continue;
        }
        reading.asked = now;
        reading.thread.Start("kv-clock", [task = server->ServerTimeTask()] { task(); });
    }
}

}  // namespace kvmon
