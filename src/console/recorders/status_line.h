// The line below the pictures: how the connection stands, in words.
#pragma once

#include <QtWidgets/QLabel>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "console/wall/wall_notice.h"
#include "server/http/link_failure.h"
#include "server/recorder_list.h"

namespace kvmon {

class CameraList;
class CellPool;
class Desk;
class SignInDesk;
class ViewController;

// Faulty: something answers, but not as a recorder does.
enum class LinkState { kIdle, kConnecting, kConnected, kNoAnswer, kFaulty, kLost, kRefused };

// One recorder, as the line tells of it.
struct LinkReport {
    LinkState state = LinkState::kIdle;
    std::string name;
    int retrySeconds = 0;  // to the next try; 0: now, or never for one that has refused
    LinkFailure failure = {};
    std::string address = {};
};

// How one recorder stands, with why and when it is tried again.
std::string LinkText(const LinkReport& link);
// The text for all recorders together: the worst state is told, and how many of the channels on show are
// live. `all` counts those that other pages have, too.
std::string StatusText(const std::vector<LinkReport>& links, int live, int shown, int all);
// The state that the text is about; nothing without recorders.
std::optional<LinkReport> WorstLink(const std::vector<LinkReport>& links);

// Looks at the recorders once a second. User interface thread only.
class StatusLine final : public QLabel, public RecorderListener {
public:
    StatusLine(Desk& desk, const CellPool& cells, const CameraList& cameras, const ViewController& view,
               const SignInDesk& signIn, const RecorderList& recorders);

    // A round of queries failed.
    void OnFailure(const CKelvaraInfo* server);
    void OnTick();
    // What else there is to say, behind the state; from the next tick on.
    void SetNote(const std::string& text) { m_note = text; }
    void OnRecorderRemoved(const CKelvaraInfo& server) override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    struct Link {
        bool bAnswered = false;
        bool bFailed = false;
        std::string name;  // that it had last
    };

    LinkReport Report(const CKelvaraInfo& server);
    int CountUsable() const;
    std::string NoticeText(const std::vector<LinkReport>& links) const;
    void ShowNotice(const std::string& text);

    Desk& m_desk;
    const CellPool& m_cells;
    const CameraList& m_cameras;
    const ViewController& m_view;
    const SignInDesk& m_signIn;
    const RecorderList& m_recorders;
    WallNotice m_notice;
    WallNotice m_secondNotice;  // on the second display
    std::map<const CKelvaraInfo*, Link> m_links;
    std::string m_note;
    LinkState m_state = LinkState::kIdle;
    bool m_bAllLive = true;  // of the channels on show
};

}  // namespace kvmon
