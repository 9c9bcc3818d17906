#include "channel/camera/channel_core.h"
#include "persist/string_table.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kQuietErrors = 5;
constexpr std::uint32_t kStringLostConnection = 57412;
constexpr std::uint32_t kStringUnauthorized = 57421;

constexpr int kStatusUnauthorized = 401;
constexpr int kStatusNotFound = 404;

}  // namespace

void ChannelCore::ReportStreamError(int nCode, int nArg) {
    if (m_nErrorCount <= kQuietErrors) {
        ++m_nErrorCount;
        return;
    }
    m_nErrorCount = 1;
    if (nCode == kStreamConnect || (nCode == kStreamStatus && nArg == kStatusNotFound)) {
        // Until a picture was shown, the channel goes on saying that it connects.
        SwitchNetworkSetting();
        return;
    }
    const bool bUnauthorized = nCode == kStreamStatus && nArg == kStatusUnauthorized;
    SetCaption(LoadString(bUnauthorized ? kStringUnauthorized : kStringLostConnection));
}

}  // namespace kvmon
