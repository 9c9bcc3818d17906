#include "console/recorders/status_line.h"

#include <QtGui/QPainter>
#include <algorithm>

#include "channel/base/own_fault_texts.h"
#include "channel/camera/base_camera.h"
#include "console/panel/console_controls.h"
#include "console/panel/console_keys.h"
#include "console/ports/desk.h"
#include "console/recorders/sign_in_desk.h"
#include "console/settings/fill_pattern.h"
#include "console/wall/camera_list.h"
#include "console/wall/live_count.h"
#include "console/wall/view_controller.h"
#include "persist/plural.h"
#include "persist/string_table.h"
#include "platform/clock.h"
#include "server/recorder_list.h"
#include "skin/plain_text.h"
#include "skin/skin_colours.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr ColourRole kDotNotAllLive = &SkinColours::focus;
constexpr int kTextHeight = 13;
constexpr int kDot = 8;
constexpr int kTextLeft = 16;

constexpr std::uint32_t kStrLive = 6318;
constexpr std::uint32_t kStrLiveOnPage = 6874;
constexpr std::uint32_t kStrRetryIn = 6870;
constexpr std::uint32_t kStrRetryNow = 6871;
constexpr std::uint32_t kStrLoggedOut = 6860;
constexpr std::uint32_t kStrNoChannels = 6861;
constexpr std::uint32_t kStrElsewhere = 7214;
constexpr std::uint32_t kStrNothingToShow = 6862;
constexpr std::uint32_t kStrAddCameras = 7447;
constexpr std::uint32_t kStrHidden = 7448;
constexpr std::uint32_t kStrSignIn = 7449;
constexpr const char* kBetween = " - ";
constexpr std::uint32_t kStrManyConnected = 6319;

// From the best to the worst: the worst is what the line tells.
struct StateRow {
    LinkState state;
    std::uint32_t text;
    ColourRole dot;
};

constexpr StateRow kStates[] = {
    {LinkState::kConnected, 6312, &SkinColours::good},   {LinkState::kIdle, 6310, &SkinColours::inkDisabled},
    {LinkState::kConnecting, 6311, &SkinColours::focus}, {LinkState::kNoAnswer, 6873, &SkinColours::record},
    {LinkState::kFaulty, 6873, &SkinColours::record},    {LinkState::kLost, 6872, &SkinColours::record},
    {LinkState::kRefused, 6317, &SkinColours::record},
};

const StateRow* RowOf(LinkState state) {
    return std::find_if(std::begin(kStates), std::end(kStates),
                        [state](const StateRow& row) { return row.state == state; });
}

// The fault is this computer's: behind the words of a lost connection, or behind the recorder's name.
std::string OwnCause(const LinkReport& link, std::uint32_t text) {
    const std::string words = LoadString(text);
    return link.state == LinkState::kLost ? words : link.name + kBetween + words;
}

// Why there is no answer; empty when that is not known.
std::string CauseText(const LinkReport& link) {
    switch (link.failure.fault) {
        case LinkFault::NotFound:
            return FillPattern(LoadString(6863), {link.name});
        case LinkFault::Status:
            return FillPattern(LoadString(6864), {link.name, std::to_string(link.failure.nStatus)});
        case LinkFault::NoRecorder:
            return FillPattern(LoadString(6865), {link.address});
        case LinkFault::NoRoute:
            return FillPattern(LoadString(6866), {link.address});
        case LinkFault::TimedOut:
            return FillPattern(LoadString(6867), {link.name});
        case LinkFault::NoHost:
            return FillPattern(LoadString(6868), {link.address});
        case LinkFault::NotARecorder:
            return FillPattern(LoadString(6869), {link.address});
        case LinkFault::NoMemory:
            return OwnCause(link, kTextNoMemory);
        case LinkFault::NoThread:
            return OwnCause(link, kTextNoThread);
        case LinkFault::Program:
            return OwnCause(link, kTextProgramFault);
        default:
            return {};
    }
}

LinkState StateOf(LinkFault fault, bool bAnswered) {
    switch (fault) {
        case LinkFault::Credentials:
            return LinkState::kRefused;
        case LinkFault::NotFound:
        case LinkFault::Status:
        case LinkFault::NotARecorder:
            return LinkState::kFaulty;
        default:
            return bAnswered ? LinkState::kLost : LinkState::kNoAnswer;
    }
}

}  // namespace

std::string LinkText(const LinkReport& link) {
    const StateRow& row = *RowOf(link.state);
    std::string text = FillPattern(LoadString(row.text), {link.name});
    if (row.state < LinkState::kNoAnswer) {
        return text;
    }
    const std::string cause = row.state != LinkState::kRefused ? CauseText(link) : std::string();
    if (!cause.empty()) {
        text = row.state == LinkState::kLost ? text + kBetween + cause : cause;
    }
    if (link.retrySeconds > 0) {
        text += kBetween + FillPattern(LoadString(kStrRetryIn), {std::to_string(link.retrySeconds)});
    } else if (row.state != LinkState::kRefused) {
        text += kBetween + LoadString(kStrRetryNow);
    }
    return text;
}

std::optional<LinkReport> WorstLink(const std::vector<LinkReport>& links) {
    const auto worst = std::max_element(links.begin(), links.end(), [](const auto& a, const auto& b) {
        return RowOf(a.state) < RowOf(b.state);
    });
    return worst != links.end() ? std::optional(*worst) : std::nullopt;
}

std::string StatusText(const std::vector<LinkReport>& links, int live, int shown, int all) {
    const LinkReport worst = WorstLink(links).value_or(LinkReport());
    const bool bAllWell = worst.state == LinkState::kConnected && links.size() > 1;
    std::string text = bAllWell ? FillPattern(LoadString(kStrManyConnected), {std::to_string(links.size())})
                                : LinkText(worst);
    const bool bAnyConnected = std::any_of(links.begin(), links.end(), [](const LinkReport& link) {
        return link.state == LinkState::kConnected;
    });
    if (bAnyConnected && shown > 0) {
        text += kBetween + FillPattern(LoadPlural(shown < all ? kStrLiveOnPage : kStrLive,
                                                  static_cast<std::uint64_t>(shown)),
                                       {std::to_string(live), std::to_string(shown)});
    }
    return text;
}

StatusLine::StatusLine(Desk& desk, const CellPool& cells, const CameraList& cameras,
                       const ViewController& view, const SignInDesk& signIn, const RecorderList& recorders)
    : QLabel(&desk.Window()),
      m_desk(desk),
      m_cells(cells),
      m_cameras(cameras),
      m_view(view),
      m_signIn(signIn),
      m_recorders(recorders) {
    setObjectName(QStringLiteral("statusLine"));
    setTextFormat(Qt::PlainText);
    QFont small = font();
    small.setPixelSize(kTextHeight);
    setFont(small);
}

void StatusLine::OnFailure(const CKelvaraInfo* server) {
    if (server != nullptr) {
        m_links[server].bFailed = true;
        OnTick();
    }
}

LinkReport StatusLine::Report(const CKelvaraInfo& server) {
    Link& link = m_links[&server];
    LinkReport report;
    report.address = server.GetHost() + ":" + std::to_string(server.GetPort());
    report.name = server.GetServerName();
    if (!report.name.empty()) {
        link.name = report.name;
    }
    if (server.IsNoRightReported()) {
        report.state = LinkState::kRefused;
    } else if (!m_desk.IsLoggedIn() || !server.IsRunning()) {
        link = Link();
    } else if (server.IsConnected()) {
        report.state = LinkState::kConnected;
        link.bAnswered = true;
        link.bFailed = false;
    } else {
        report.failure = server.GetFailure();
        if (report.failure.fault == LinkFault::None && !link.bFailed) {
            report.state = link.bAnswered ? LinkState::kLost : LinkState::kConnecting;
        } else {
            report.state = StateOf(report.failure.fault, link.bAnswered);
        }
        report.retrySeconds = static_cast<int>(server.GetRetrySeconds());
    }
    report.name = !link.name.empty() ? link.name : report.address;
    return report;
}

void StatusLine::OnRecorderRemoved(const CKelvaraInfo& server) {
    m_links.erase(&server);
}

int StatusLine::CountUsable() const {
    int count = 0;
    for (int n = 0; n < m_cameras.GetCount(); ++n) {
        const auto camera = m_cameras.GetCameraByChannel(n);
        count += camera && camera->IsCameraUsable() ? 1 : 0;
    }
    return count;
}

// For the wall, where no camera can be shown.
std::string StatusLine::NoticeText(const std::vector<LinkReport>& links) const {
    if (m_cameras.GetCount() > 0 || m_desk.IsWaitShown()) {
        return {};
    }
    const LinkReport worst = WorstLink(links).value_or(LinkReport());
    if (worst.state == LinkState::kIdle) {
        return LoadString(kStrLoggedOut) +
               (m_signIn.IsOffered()
                    ? "\n" + FillPattern(LoadString(kStrSignIn), {ShortcutName(kCtlLogout).toStdString()})
                    : std::string());
    }
    if (worst.state != LinkState::kConnected) {
        // Who waits in vain is told the way out.
        const bool bElsewhere = worst.state >= LinkState::kNoAnswer && m_signIn.IsOffered();
        return LinkText(worst) + (bElsewhere ? "\n" + FillPattern(LoadString(kStrElsewhere),
                                                                  {ShortcutName(kCtlLogout).toStdString()})
                                             : std::string());
    }
    const bool bEmpty = links.size() == 1 && m_recorders.GetServer(0)->GetChannelCount() == 0;
    return bEmpty ? FillPattern(LoadString(kStrNoChannels), {worst.name}) + "\n" + LoadString(kStrAddCameras)
                  : LoadString(kStrNothingToShow) + "\n" +
                        FillPattern(LoadString(kStrHidden), {ShortcutName(kCtlOptions).toStdString()});
}

void StatusLine::ShowNotice(const std::string& text) {
    QWidget* const host = m_desk.DialogHost();
    m_notice.Show(m_signIn.IsShown() ? std::string() : text, host, m_view.WallIn(*host));
    QWidget* const second = m_view.SecondPanel();
    m_secondNotice.Show(text, second, second != nullptr ? second->rect() : QRect());
}

void StatusLine::OnTick() {
    std::vector<LinkReport> links;
    links.reserve(static_cast<std::size_t>(m_recorders.GetServerCount()));
    for (int i = 0; i < m_recorders.GetServerCount(); ++i) {
        links.push_back(Report(*m_recorders.GetServer(i)));
    }
    const auto [live, shown] = CountLive(m_cells);
    const QString line = QString::fromStdString(StatusText(links, live, shown, CountUsable()) +
                                                (m_note.empty() ? m_note : kBetween + m_note));
    ShowNotice(NoticeText(links));
    const LinkState state = WorstLink(links).value_or(LinkReport()).state;
    const bool bAllLive = live >= shown;
    if (line == text() && state == m_state && bAllLive == m_bAllLive) {
        return;
    }
    m_state = state;
    m_bAllLive = bAllLive;
    setText(line);
    setAccessibleName(line);
    setToolTip(fontMetrics().horizontalAdvance(line) > width() - kTextLeft ? MarkupOf(line.toStdString())
                                                                           : QString());
    update();
}

void StatusLine::paintEvent(QPaintEvent*) {
    const SkinColours& colours = ColoursOf(*this);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    // Pictures that stand still are a fault even on a good link.
    const bool bStill = m_state == LinkState::kConnected && !m_bAllLive;
    painter.setBrush(QColor(colours.*(bStill ? kDotNotAllLive : RowOf(m_state)->dot)));
    painter.drawEllipse(QRectF(1, (height() - kDot) / 2.0, kDot, kDot));
    painter.setPen(QColor(colours.ink));
    const QRect place = rect().adjusted(kTextLeft, 0, 0, 0);
    painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     fontMetrics().elidedText(text(), Qt::ElideRight, place.width(), Qt::TextSingleLine));
}

}  // namespace kvmon
