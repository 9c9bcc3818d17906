// The request that tells a site's server of the end of a session.
#pragma once

#include <array>
#include <memory>
#include <string>

#include "platform/worker.h"

namespace kvmon {

// User interface thread only; each request runs on a thread of its own.
class LogoutCalls {
public:
    // Requests under way get a moment more: a page often leaves right after its logout.
    ~LogoutCalls();

    // One request for the address; what the server answers is of no interest. HTTP only; failures go to the
    // trace. While kMost are under way another one is not begun.
    void Start(const std::string& url);

    static constexpr std::size_t kMost = 4;

private:
    void WaitForAll(Milliseconds time);

    std::array<Worker, kMost> m_workers;
    std::shared_ptr<FlagWord> m_bAbort = std::make_shared<FlagWord>(0);
};

}  // namespace kvmon
