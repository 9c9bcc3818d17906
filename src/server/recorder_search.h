// Looks for recorders on the network, for a user who knows no address.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/window_handle.h"
#include "platform/worker.h"
#include "wire/recorder_search.h"

namespace kvmon {

struct FoundRecorder {
    std::string name;  // as it is told: a line, maybe empty
    std::string address;
    std::uint16_t port = 0;
};

// Who is asked.
struct SearchPlace {
    std::string from;        // an IPv4 address of this computer, whose network it is; empty: all networks
    std::uint16_t port = 0;  // 0: the usual one
};

inline constexpr std::size_t kMostFoundRecorders = 256;
inline constexpr std::size_t kMostFoundAtOne = 8;  // recorders of one computer

// What a datagram adds to the list: nothing, if it is no answer to the question with this mark, or comes
// again.
bool AddFoundRecorder(std::string_view datagram, std::string_view mark, const std::string& sender,
                      std::vector<FoundRecorder>& found);

struct SearchNews {
    std::vector<FoundRecorder> found;  // all until now
    int percent = 0;                   // of its time
    bool bEnded = false;
    bool bNobodyAsked = false;  // there is no network
};

// One search at a time, on a thread of its own. The destructor stops it. Used from one thread.
class RecorderSearch {
public:
    RecorderSearch() = default;
    ~RecorderSearch() { Stop(); }
    RecorderSearch(const RecorderSearch&) = delete;
    RecorderSearch& operator=(const RecorderSearch&) = delete;

    // Begins anew. Whenever there is news, `message` is posted to the receiver with the search's number as
    // wParam, once until it is taken. Gives the number; 0 when the system has no more threads.
    std::uint32_t Start(const SearchPlace& place, WindowHandle receiver, std::uint32_t message);
    // Never waits: the thread ends by itself soon after.
    void Stop();
    SearchNews Take();

private:
    struct State;
    static void Run(State& state, const SearchPlace& place, const WindowHandle& receiver,
                    std::uint32_t message, std::uint32_t number);

    std::shared_ptr<State> m_state;
    Worker m_thread;
    std::uint32_t m_nNumber = 0;
};

}  // namespace kvmon
