#include "channel/channel_core.h"
#include "channel/stream_reader.h"
#include "persist/string_table.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kQuietErrors = 5;
constexpr std::uint32_t kStringDisconnected = 57412;
constexpr std::uint32_t kStringUnauthorized = 57421;

constexpr int kAnyStatus = -1;

constexpr struct {
    int code;
    int argument;
    std::uint32_t text;
    bool onlyAfterPicture;  // until a picture was shown, the channel goes on saying that it connects
} kReports[] = {
    {kStreamConnect, kAnyStatus, kStringDisconnected, true},
    {kStreamStatus, 404, kStringDisconnected, true},
    {kStreamStatus, 401, kStringUnauthorized, false},
};

}  // namespace

void ChannelCore::ReportStreamError(int nCode, int nArg) {
    if (m_nErrorCount <= kQuietErrors) {
        ++m_nErrorCount;
        return;
    }
    m_nErrorCount = 1;
    std::uint32_t text = kStringDisconnected;
    for (const auto& report : kReports) {
        if (report.code == nCode && (report.argument == kAnyStatus || report.argument == nArg)) {
            if (report.onlyAfterPicture && !m_bStreamRunning) {
                return;
            }
            text = report.text;
            break;
        }
    }
    m_picture.SetMainOsdCameraString(LoadString(text), true);
}

}  // namespace kvmon
