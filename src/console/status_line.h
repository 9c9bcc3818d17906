// The line below the pictures: how the connection stands, in words.
#pragma once

#include <QtWidgets/QLabel>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kvmon {

class CKelvaraInfo;
class CMainDlg;

enum class LinkState { kIdle, kConnecting, kConnected, kNoAnswer, kLost, kRefused };

// One recorder, as the line tells of it.
struct LinkReport {
    LinkState state = LinkState::kIdle;
    std::string name;
    int retrySeconds = 0;  // to the next try; 0: now
};

// The text for all recorders together: the worst state is told, and how many of the channels on show are
// live.
std::string StatusText(const std::vector<LinkReport>& links, int live, int shown);
// The state that the text is about; nothing without recorders.
std::optional<LinkReport> WorstLink(const std::vector<LinkReport>& links);

// Looks at the recorders once a second. User interface thread only.
class StatusLine final : public QLabel {
public:
    explicit StatusLine(CMainDlg& dlg);

    // A round of queries failed.
    void OnFailure(const CKelvaraInfo* server);
    void OnTick();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    struct Link {
        bool bAnswered = false;
        std::optional<std::uint64_t> failedAt;  // milliseconds of the clock
    };

    LinkReport Report(const CKelvaraInfo& server);
    void CountChannels(int* live, int* shown);

    CMainDlg& m_dlg;
    std::map<const CKelvaraInfo*, Link> m_links;
    LinkState m_state = LinkState::kIdle;
    bool m_bAllLive = true;  // of the channels on show
};

}  // namespace kvmon
