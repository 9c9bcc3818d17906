// The newest picture of a channel that nobody sees.
#pragma once

#include <cstdint>
#include <functional>

#include "skin/window_base.h"

namespace kvmon {

class CBaseCamera;

// Has the channel decode what it kept, and waits for the picture without holding anybody up. User interface
// thread only.
class KeptPicture : public WindowBase {
public:
    static constexpr int kMostWaitMs = 5000;
    // Whether the channel's picture is its newest now.
    using Ended = std::function<void(bool bNewest)>;

    explicit KeptPicture(Ended ended) : m_ended(std::move(ended)) {}

    // One wait at a time; another one takes its place.
    void WaitFor(CBaseCamera& camera);

protected:
    void OnTimer(std::uint32_t id) override;
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override;

private:
    const Ended m_ended;
    std::uint64_t m_nWait = 0;  // the present one
};

}  // namespace kvmon
