// The cell's frame and caption strip: drawn, and in words.
#include <QtCore/QStringList>
#include <QtGui/QFontMetrics>
#include <QtGui/QPainter>
#include <QtWidgets/QToolTip>

#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "channel/picture/captions.h"
#include "persist/string_table.h"
#include "skin/plain_text.h"
#include "skin/skin_colours.h"
#include "skin/style_parts.h"

namespace kvmon {

namespace {

constexpr int kCornerRadius = 2;

constexpr int kCaptionLeft = kCellMargin + 1;
constexpr int kCaptionTop = 3;
constexpr int kCaptionBottom = 23;
constexpr int kCaptionGap = 7;
constexpr int kCaptionTextHeight = 13;
// Where the rim of a letter lies.
constexpr std::pair<int, int> kAround[] = {{-1, -1}, {0, -1}, {1, -1}, {-1, 0},
                                           {1, 0},   {-1, 1}, {0, 1},  {1, 1}};

constexpr std::uint32_t kStrStandsStill = 6815;
constexpr std::uint32_t kStrMayNot = 4009;
constexpr std::uint32_t kStrActive = 7309;
constexpr std::uint32_t kStrLive = 7310;
constexpr std::uint32_t kStrNoPicture = 7311;

}  // namespace

CellState CVideoWnd::GetState() const {
    CellState state;
    if (const auto camera = GetCamera()) {
        const CameraInfo info = camera->GetAbilities();
        state.bPtz = info.IsPanAndTiltable() || info.bFocusable;
        state.bPtzOpen = camera->IsPtzEnabled();
        state.bDigitalZoom = camera->IsDigitalZoom();
        state.bSound = camera->IsSupportAudio();
        state.bSoundOpen = camera->HasAudioRight();
        state.bTold = camera->IsStatusTold() && camera->IsCameraUsable();
        state.bManual = camera->IsManualRecording();
        state.flags = camera->GetStatusFlags();
    }
    return state;
}

void CVideoWnd::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    PaintBorder(painter);
    if (GetCamera()) {
        PaintCaptionText(painter, PaintIcon(painter));
    }
    // The mouse gives no cell the focus: it came by a key.
    if (hasFocus()) {
        const style::PixelLine ring = style::LineAround(painter, QRectF(rect()), kCellMargin);
        painter.setPen(
            QPen(QColor(ColoursOf(*this).focus), ring.width, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin));
        painter.drawRect(ring.rect);
    }
}

void CVideoWnd::PaintBorder(QPainter& painter) const {
    const SkinColours& colours = ColoursOf(*this);
    painter.fillRect(rect(), m_ground == Ground::Black ? QColor(Qt::black) : QColor(colours.cellGround));
    // One unit outside of the inner rectangle.
    const int out = kCellMargin - 1;
    const style::PixelLine line = style::LineAround(painter, QRectF(rect().adjusted(out, out, -out, -out)));
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(colours.cellEdge), line.width));
    painter.setBrush(QColor(Strip().ground));
    painter.drawRoundedRect(line.rect, kCornerRadius, kCornerRadius);
    painter.restore();
}

std::vector<PlacedIcon> CVideoWnd::Icons() const {
    return PlaceIcons(GetState(), width() - kCaptionLeft, kCaptionLeft);
}

// Gives the width that the icons take.
int CVideoWnd::PaintIcon(QPainter& painter) const {
    const int right = width() - kCaptionLeft;
    int left = right;
    for (const PlacedIcon& icon : Icons()) {
        DrawCellIcon(painter, icon.icon, QRectF(icon.x, kIconTop, icon.width, kIconHeight), Strip());
        left = icon.x;
    }
    return right - left;
}

void CVideoWnd::PaintCaptionText(QPainter& painter, int iconsWidth) const {
    const auto camera = GetCamera();
    const std::string name = camera ? camera->GetCaptionName() : std::string();
    const QRect place(QPoint(kCaptionLeft, kCaptionTop),
                      QPoint(width() - iconsWidth - kCaptionGap - 1, kCaptionBottom - 1));
    if (name.empty() || place.width() <= 0) {
        return;
    }
    QFont font = painter.font();
    font.setPixelSize(kCaptionTextHeight);
    painter.setFont(font);
    const QFontMetrics metrics(font);
    // Cameras of a house differ at the end of their names.
    const QString text =
        metrics.elidedText(QString::fromStdString(DisplayLine(name)), Qt::ElideMiddle, place.width());
    const StripColours& colours = Strip();
    const auto draw = [&](QRgb colour, int dx, int dy) {
        painter.setPen(QColor(colour));
        painter.drawText(place.translated(dx, dy), Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                         text);
    };
    if (qAlpha(colours.halo) != 0) {
        for (const auto& [dx, dy] : kAround) {
            draw(colours.halo, dx, dy);
        }
    }
    draw(colours.text, 0, 0);
}

const StripColours& CVideoWnd::Strip() const {
    const SkinColours& colours = ColoursOf(*this);
    return m_bActive ? colours.active : colours.inactive;
}

void CVideoWnd::RepaintStrip() {
    update(0, 0, width(), kCellMargin + kCellTitleHeight);
}

// The strip in words, for those who cannot see it.
void CVideoWnd::Describe() {
    const auto camera = GetCamera();
    setAccessibleName(camera ? QString::fromStdString(camera->GetCaptionName()) : QString());
    QStringList words;
    if (camera) {
        if (m_bActive) {
            words.append(QString::fromStdString(LoadString(kStrActive)));
        }
        if (!camera->IsCameraUsable()) {
            words.append(QString::fromStdString(LoadString(kStrMayNot)));
        } else if (!camera->IsStreamRunning()) {
            words.append(QString::fromStdString(LoadString(kStrNoPicture)));
        } else if (camera->Picture().GetStillSeconds() == 0) {
            words.append(QString::fromStdString(LoadString(kStrLive)));
        }
        for (const PlacedIcon& icon : PlaceIcons(GetState(), 0)) {
            words.append(CellIconText(icon.icon));
        }
        if (camera->Picture().GetStillSeconds() > 0) {
            words.append(QString::fromStdString(LoadString(kStrStandsStill)));
        }
    }
    setAccessibleDescription(words.join(QLatin1String(", ")));
}

// Names the icon below the pointer; beside the icons the channel, and what its highlight is about.
void CVideoWnd::ShowTip(const QPoint& point, const QPoint& screen) {
    const auto camera = GetCamera();
    if (!camera || point.y() >= kCellMargin + kCellTitleHeight) {
        QToolTip::hideText();
        return;
    }
    QString text = QString::fromStdString(DisplayLine(camera->GetCaptionName()));
    QRect place(0, 0, width(), kCellMargin + kCellTitleHeight);
    if (camera->Picture().IsEventHighlight()) {
        if (const auto flag = FlagOfEventKind(camera->Picture().GetEventKind())) {
            text += QLatin1Char('\n') + CellIconText(IconOfFlag(*flag));
        }
    }
    for (const PlacedIcon& icon : Icons()) {
        if (point.x() >= icon.x && point.x() < icon.x + icon.width) {
            text = CellIconText(icon.icon);
            place.setLeft(icon.x);
            place.setWidth(icon.width);
        }
    }
    QToolTip::showText(screen, MarkupOf(text.toStdString()), this, place);
}

}  // namespace kvmon
