#include "control/logout_calls.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "persist/log_file.h"
#include "platform/text.h"
#include "server/http/http_tran.h"
#include "server/http/resource_url.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kConnectMs = 15000;
constexpr std::uint32_t kSendMs = 5000;
constexpr std::uint32_t kAnswerMs = 5000;
constexpr std::size_t kMaxRequest = 8191;
constexpr Milliseconds kLastMoment{1000};
constexpr Milliseconds kAbortMoment{400};  // the flag is looked at every 250

void TraceError(const char* text) {
    Trace("ERROR!  %s\n", text);
}

std::string MakeRequest(const SplitUrl& url) {
    return FormatText(
        "GET %s HTTP/1.0\r\nAccept: */*\r\nUser-Agent: Logout IE Procedure\r\nHost: %s:%u\r\n"
        "Cache-Control: no-cache\r\nPragma: no-cache\r\n\r\n",
        url.object.c_str(), url.server.c_str(), url.port);
}

// Such as those in a user's name.
std::string EscapeSpaces(const std::string& url) {
    std::string escaped;
    for (const char c : url) {
        escaped += c == ' ' ? "%20" : std::string(1, c);
    }
    return escaped;
}

void CallServer(const SplitUrl& url, const std::string& request, const FlagWord& bAbort) {
    CHttpTran tran(&bAbort);
    std::uint32_t connectTime = kConnectMs;
    std::uint32_t sendTime = kSendMs;
    if (!tran.Create() || !tran.Connect(url.server.c_str(), url.port, &connectTime) ||
        !tran.Send(request, &sendTime)) {
        TraceError(tran.GetSocketErrorText());
        return;
    }
    // A server may drop the request of a connection that is closed before it could answer.
    std::array<char, 256> answer{};
    std::uint32_t answerTime = kAnswerMs;
    tran.Receive(answer.data(), answer.size(), &answerTime);
}

}  // namespace

LogoutCalls::~LogoutCalls() {
    WaitForAll(kLastMoment);
    *m_bAbort = 1;
    WaitForAll(kAbortMoment);
}

void LogoutCalls::WaitForAll(Milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    for (Worker& worker : m_workers) {
        const auto left = std::chrono::ceil<Milliseconds>(end - std::chrono::steady_clock::now());
        worker.Wait(std::max(Milliseconds(0), left));
    }
}

void LogoutCalls::Start(const std::string& url) {
    SplitUrl split;
    if (!SplitHttpUrl(EscapeSpaces(url), &split)) {
        Trace("Fail on resolve URL: can only use URLs beginning with http:\n");
        return;
    }
    const std::string request = MakeRequest(split);
    const auto worker =
        std::find_if(m_workers.begin(), m_workers.end(), [](const Worker& w) { return !w.IsRunning(); });
    if (request.size() > kMaxRequest || worker == m_workers.end()) {
        TraceError(worker == m_workers.end() ? "too many requests at once" : "the address is too long");
        return;
    }
    worker->Wait(Milliseconds(0));  // lets go of the thread of an earlier one
    if (!worker->Start("kv-logout",
                       [split, request, abort = m_bAbort] { CallServer(split, request, *abort); })) {
        TraceError("no thread");
    }
}

}  // namespace kvmon
