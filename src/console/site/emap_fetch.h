// The recorder's site map, fetched by a thread.
#pragma once

#include <QtGui/QImage>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/window_handle.h"
#include "platform/worker.h"

namespace kvmon {

// Posted when the thread is done: wParam how it ended, lParam the recorder's answer if it was a refusal.
inline constexpr std::uint32_t kMsgEMapDone = 11405;

enum class EMapStatus : std::uint32_t {
    CreateFailed = 1,
    ConnectFailed = 2,
    SendFailed = 3,
    NoAnswer = 4,
    Refused = 5,
    PictureStep = 6,  // also without a picture
    NoTitle = 9,
};

struct EMapSource {
    std::string host;
    std::uint32_t port = 80;
    std::string user;
    std::string password;
};

// The text between the first "<b>" of the page's first 1020 bytes and the "</b>" behind it. Empty, with
// *pbFound false, if there is none or it has more than 249 bytes.
std::string EMapTitle(std::string_view body, bool* pbFound);
// A JPEG picture of a size that can be shown; null for anything else.
QImage EMapPicture(const std::vector<std::uint8_t>& data);

// User interface thread only. The fetching has a thread of its own.
class EMapFetch {
public:
    EMapFetch(const EMapSource& source, WindowHandle hWnd, Clock& clock = SystemClock());
    // A thread that still runs is told to stop and left to itself.
    ~EMapFetch();
    EMapFetch(const EMapFetch&) = delete;
    EMapFetch& operator=(const EMapFetch&) = delete;

    void Cancel();
    // True when the thread has ended.
    bool IsEnded();
    // After kMsgEMapDone.
    const std::string& Title() const;
    const QImage& Picture() const;

private:
    struct State;
    std::shared_ptr<State> m_state;
    Worker m_thread;
};

}  // namespace kvmon
