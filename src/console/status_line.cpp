#include "console/status_line.h"

#include <QtGui/QPainter>
#include <algorithm>

#include "channel/base_camera.h"
#include "channel/video_wnd.h"
#include "console/fill_pattern.h"
#include "console/main_dlg.h"
#include "persist/string_table.h"
#include "platform/clock.h"
#include "server/kelvara_info.h"
#include "skin/palette.h"
#include "skin/plain_text.h"

namespace kvmon {

namespace {

constexpr QRgb kDotNotAllLive = palette::kFocus;
constexpr int kTextHeight = 13;
constexpr int kDot = 8;
constexpr int kTextLeft = 16;

constexpr std::uint32_t kStrLive = 6318;
constexpr std::uint32_t kStrManyConnected = 6319;

// From the best to the worst: what a user has to know first comes last.
struct StateRow {
    LinkState state;
    std::uint32_t text;
    std::uint32_t textNow;  // when the next try is on its way
    QRgb dot;
};

constexpr StateRow kStates[] = {
    {LinkState::kConnected, 6312, 6312, 0xff57b36a},
    {LinkState::kIdle, 6310, 6310, palette::kInkDisabled},
    {LinkState::kConnecting, 6311, 6311, palette::kFocus},
    {LinkState::kNoAnswer, 6313, 6314, palette::kRecord},
    {LinkState::kLost, 6315, 6316, palette::kRecord},
    {LinkState::kRefused, 6317, 6317, palette::kRecord},
};

const StateRow* RowOf(LinkState state) {
    return std::find_if(std::begin(kStates), std::end(kStates),
                        [state](const StateRow& row) { return row.state == state; });
}

std::string LinkText(const LinkReport& link) {
    const StateRow& row = *RowOf(link.state);
    return FillPattern(LoadString(link.retrySeconds > 0 ? row.text : row.textNow),
                       {link.name, std::to_string(link.retrySeconds)});
}

}  // namespace

std::optional<LinkReport> WorstLink(const std::vector<LinkReport>& links) {
    const auto worst = std::max_element(links.begin(), links.end(), [](const auto& a, const auto& b) {
        return RowOf(a.state) < RowOf(b.state);
    });
    return worst != links.end() ? std::optional(*worst) : std::nullopt;
}

std::string StatusText(const std::vector<LinkReport>& links, int live, int shown) {
    const LinkReport worst = WorstLink(links).value_or(LinkReport());
    const bool bAllWell = worst.state == LinkState::kConnected && links.size() > 1;
    std::string text = bAllWell ? FillPattern(LoadString(kStrManyConnected), {std::to_string(links.size())})
                                : LinkText(worst);
    const bool bAnyConnected = std::any_of(links.begin(), links.end(), [](const LinkReport& link) {
        return link.state == LinkState::kConnected;
    });
    if (bAnyConnected && shown > 0) {
        text += " - " + FillPattern(LoadString(kStrLive), {std::to_string(live), std::to_string(shown)});
    }
    return text;
}

StatusLine::StatusLine(CMainDlg& dlg) : QLabel(&dlg), m_dlg(dlg) {
    setObjectName(QStringLiteral("statusLine"));
    setTextFormat(Qt::PlainText);
    QFont small = font();
    small.setPixelSize(kTextHeight);
    setFont(small);
    OnTick();
}

void StatusLine::OnFailure(const CKelvaraInfo* server) {
    if (server != nullptr) {
        m_links[server].failedAt = SystemClock().TickMs();
        OnTick();
    }
}

LinkReport StatusLine::Report(const CKelvaraInfo& server) {
    Link& link = m_links[&server];
    LinkReport report{LinkState::kIdle, server.GetServerName(), 0};
    if (report.name.empty()) {
        report.name = server.GetHost() + ":" + std::to_string(server.GetPort());
    }
    if (server.IsNoRightReported()) {
        report.state = LinkState::kRefused;
    } else if (!server.IsRunning()) {
        link = Link();
    } else if (server.IsConnected()) {
        report.state = LinkState::kConnected;
        link = {true, std::nullopt};
    } else if (!link.failedAt) {
        report.state = link.bAnswered ? LinkState::kLost : LinkState::kConnecting;
    } else {
        report.state = link.bAnswered ? LinkState::kLost : LinkState::kNoAnswer;
        const std::uint64_t waited = SystemClock().TickMs() - *link.failedAt;
        const std::uint64_t whole = std::uint64_t{server.GetRetrySeconds()} * 1000;
        report.retrySeconds = waited < whole ? static_cast<int>((whole - waited + 999) / 1000) : 0;
    }
    return report;
}

void StatusLine::CountChannels(int* live, int* shown) {
    CellPool& cells = m_dlg.View().Cells();
    for (int n = 0; n < cells.GetCount(); ++n) {
        const CVideoWnd* const window = cells.Get(n);
        const auto camera = window != nullptr && !window->isHidden() ? window->GetCamera() : nullptr;
        if (camera && camera->IsCameraUsable()) {
            *shown += 1;
            *live += camera->IsLive() ? 1 : 0;
        }
    }
}

void StatusLine::OnTick() {
    std::vector<LinkReport> links;
    for (int i = 0; i < GetServerCount(); ++i) {
        links.push_back(Report(*GetServer(i)));
    }
    int live = 0;
    int shown = 0;
    CountChannels(&live, &shown);
    const QString line = QString::fromStdString(StatusText(links, live, shown));
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
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    // A good link with pictures that stand still is not well.
    const bool bStill = m_state == LinkState::kConnected && !m_bAllLive;
    painter.setBrush(QColor(bStill ? kDotNotAllLive : RowOf(m_state)->dot));
    painter.drawEllipse(QRectF(1, (height() - kDot) / 2.0, kDot, kDot));
    painter.setPen(QColor(palette::kInk));
    const QRect place = rect().adjusted(kTextLeft, 0, 0, 0);
    painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     fontMetrics().elidedText(text(), Qt::ElideRight, place.width(), Qt::TextSingleLine));
}

}  // namespace kvmon
