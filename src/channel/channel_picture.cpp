#include "channel/channel_picture.h"

#include <QtGui/QImage>
#include <QtGui/QPainter>
#include <QtGui/QRegion>
#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstring>
#include <mutex>
#include <utility>

#include "channel/captions.h"
#include "channel/channel_globals.h"
#include "channel/deinterlace.h"
#include "channel/pixels.h"
#include "codec/cell_scaler.h"
#include "persist/log_file.h"
#include "platform/text.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kBlack = Rgb(0, 0, 0);
constexpr std::uint32_t kGround = Rgb(10, 10, 44);
constexpr std::uint32_t kEventFrame = Rgb(185, 52, 53);
constexpr int kEventFramePart = 50;  // of the view's width
constexpr std::uint32_t kAllLines = 0xFFFFFFFF;

static_assert(kSubStringCount == kMaxCaptionLines);

// How the picture is to look. A plain value.
struct Look {
    int viewWidth = 0;
    int viewHeight = 0;
    double pixelRatio = 1.0;
    PixelRect drawRect;
    PixelRect zoomRect;
    DisplayMode mode = DisplayMode::Fill;
    bool deinterlace = false;
    bool eventHighlight = false;
    int eventKind = 0;
    bool eventBlink = false;
    bool still = false;

    bool HasEventFrame() const { return eventBlink && eventHighlight; }
};

struct Texts {
    std::string main[2];
    std::string forAWhile;  // over the second
    const std::string& Main() const {
        if (!main[0].empty()) {
            return main[0];
        }
        return forAWhile.empty() ? main[1] : forAWhile;
    }
    std::array<std::string, kSubStringCount> lines;
    std::uint32_t mask = 0;
    std::uint32_t color = kDefaultOsdColor;
};

constexpr std::size_t Index(SubString line) {
    return static_cast<std::size_t>(line);
}

std::uint32_t ShownLines(std::uint32_t mask) {
    return Globals().debugLines ? kAllLines : mask;
}

}  // namespace

// Three locks, taken in this order:
// csFrame   the picture on show and all that is used to compose it; held for one composing.
// csState   look and texts; held for a few copies.
// csPublish the two images that wait between the threads; held for a swap, or a snapshot's copy.
struct ChannelPicture::Impl {
    std::mutex csFrame;
    std::unique_ptr<CVideoBmpFrame> curFrame;
    CellScaler scaler;
    CBuffer deinterlaced;
    CaptionLayer captions;
    CaptionTexts captionTexts;  // as the layer knows them
    std::uint64_t captionTextsAge = ~std::uint64_t{0};
    std::uint32_t captionMask = 0;
    QImage back;  // is drawn on

    mutable std::mutex csState;
    Look look;
    Texts texts;
    std::uint64_t textsAge = 0;  // counts the changes
    BITMAPINFOHEADER info{.biWidth = 0, .biHeight = 0};
    std::uint64_t shownAt = 0;  // when the picture on show took the screen
    int stillSeconds = 0;
    std::shared_ptr<const std::function<void()>> repaint;

    std::mutex csPublish;
    QImage ready;  // the newest, if fresh
    bool fresh = false;
    bool composed = false;  // there is an image, in `ready` or `front`
    std::uint64_t composedAge = 0;
    QImage front;  // drawn from by the user interface thread, changed by it alone

    std::atomic<bool> hasFrame{false};
    std::atomic<std::uint32_t> channel{0xFFFFFFFF};  // for the trace
    // Counts what has to show at once, even when no further picture comes.
    std::atomic<std::uint64_t> age{0};

    // --- under csState
    void RefreshDrawRect() {
        const PixelRect rect =
            ComputeDrawRect(look.mode, look.viewWidth, look.viewHeight, info.biWidth, info.biHeight);
        if (rect.IsEmpty() || rect == look.drawRect) {
            return;
        }
        look.drawRect = rect;
        SetLine(SubString::Draw, FormatText("Draw: %d x %d", rect.Width(), rect.Height()));
    }
    bool SetLine(SubString line, const std::string& text) { return SetText(texts.lines[Index(line)], text); }
    // A part of the texts; true when it is new.
    template <typename Value>
    bool SetText(Value& place, const Value& value) {
        if (place == value) {
            return false;
        }
        place = value;
        ++textsAge;
        return true;
    }

    // --- under no lock
    void Notify() {
        std::shared_ptr<const std::function<void()>> call;
        {
            const std::lock_guard lock(csState);
            call = repaint;
        }
        if (call && *call) {
            (*call)();
        }
    }
    // Changes the look or the texts; what is on the screen follows without waiting for a picture.
    template <typename Step>
    void Change(const Step& change) {
        {
            const std::lock_guard lock(csState);
            if (!change()) {
                return;
            }
            ++age;
        }
        Notify();
    }
    template <typename Value>
    void Set(Value& place, const Value& value) {
        Change([&] {
            const bool isNew = place != value;
            place = value;
            return isNew;
        });
    }

    // --- under csFrame
    Look UpdateLook(std::uint64_t& lookAge);
    PictureView SourceOf(const Look& now);
    bool DrawInto(QImage& image, const Look& now);
    bool Compose();

    // --- under csPublish, user interface thread
    bool TakeReady();

    // --- under no lock
    void ReleaseComposed() {
        const std::lock_guard lock(csPublish);
        composed = false;
        fresh = false;
        ready = QImage();
    }
};

// The look as it is now; the captions are brought up to date with it.
Look ChannelPicture::Impl::UpdateLook(std::uint64_t& lookAge) {
    Look now;
    {
        const std::lock_guard lock(csState);
        now = look;
        lookAge = age;
        const std::uint32_t mask = ShownLines(texts.mask);
        if (captionTextsAge != textsAge || captionMask != mask) {
            captionTextsAge = textsAge;
            captionMask = mask;
            captionTexts.main = texts.Main();
            captionTexts.color = texts.color;
            for (std::size_t i = 0; i < texts.lines.size(); ++i) {
                if ((mask >> i & 1) != 0) {
                    captionTexts.lines[i] = texts.lines[i];
                } else {
                    captionTexts.lines[i].clear();
                }
            }
        }
    }
    captions.Update(captionTexts, now.viewWidth, now.viewHeight, now.pixelRatio);
    return now;
}

// The picture on show, or its deinterlaced copy.
PictureView ChannelPicture::Impl::SourceOf(const Look& now) {
    if (!now.deinterlace) {
        return curFrame->View();
    }
    const auto bits = curFrame->Bitmap();
    const BITMAPINFOHEADER& header = curFrame->Info();
    const auto length = static_cast<std::uint32_t>(bits.size());
    if (bits.empty() || !deinterlaced.Reserve(length)) {
        return curFrame->View();
    }
    std::memcpy(deinterlaced.Begin(), bits.data(), bits.size());
    DeinterlaceRows({deinterlaced.Begin(), length}, BitmapStride(header.biWidth, header.biBitCount),
                    header.biHeight, ChooseDeinterlaceWay(header.biHeight, now.viewHeight));
    return ViewOfBitmap(header, deinterlaced.Begin());
}

bool ChannelPicture::Impl::DrawInto(QImage& image, const Look& now) {
    const PictureView source = SourceOf(now);
    if (image.width() != now.viewWidth || image.height() != now.viewHeight) {
        image = QImage(now.viewWidth, now.viewHeight, QImage::Format_RGB32);
    }
    const PixelImage out{image.bits(), image.bytesPerLine(), image.width(), image.height()};
    if (out.pixels == nullptr) {
        return false;
    }
    if (!scaler.Draw(source, ShownPart(now.zoomRect, source.width, source.height), out.pixels, out.stride,
                     now.drawRect)) {
        return false;
    }
    FillAround(out, now.drawRect, kBlack);
    if (now.still) {
        GreyOut(out);
    }
    if (now.HasEventFrame()) {
        const int thick = now.viewWidth / kEventFramePart;
        FillAround(out, {thick, thick, now.viewWidth - thick, now.viewHeight - thick}, kEventFrame);
    }
    captions.Blend(out);
    return true;
}

// Composes the picture on show and publishes the image. False if there was nothing to compose.
bool ChannelPicture::Impl::Compose() {
    if (!curFrame || curFrame->Info().biHeight < 0) {
        return false;
    }
    std::uint64_t lookAge = 0;
    const Look now = UpdateLook(lookAge);
    const bool inside = now.drawRect.left >= 0 && now.drawRect.top >= 0 &&
                        now.drawRect.right <= now.viewWidth && now.drawRect.bottom <= now.viewHeight;
    if (now.viewWidth <= 0 || now.viewHeight <= 0 || now.drawRect.IsEmpty() || !inside ||
        !DrawInto(back, now)) {
        return false;
    }
    const std::lock_guard lock(csPublish);
    back.swap(ready);
    fresh = true;
    composed = true;
    composedAge = lookAge;
    return true;
}

ChannelPicture::ChannelPicture() : m_impl(std::make_unique<Impl>()) {}

ChannelPicture::~ChannelPicture() = default;

// --- decode thread

void ChannelPicture::SetBitmapInfo(const BITMAPINFOHEADER& info) {
    const std::lock_guard lock(m_impl->csState);
    if (info == m_impl->info) {
        return;
    }
    m_impl->info = info;
    m_impl->RefreshDrawRect();
    m_impl->SetLine(SubString::Stream, FormatText("Stream: %d x %d", info.biWidth, info.biHeight));
}

std::unique_ptr<CVideoBmpFrame> ChannelPicture::Show(std::unique_ptr<CVideoBmpFrame> frame,
                                                     std::uint64_t nowMs) {
    const std::lock_guard lock(m_impl->csFrame);
    m_impl->curFrame.swap(frame);
    m_impl->hasFrame = m_impl->curFrame != nullptr;
    const std::lock_guard state(m_impl->csState);
    m_impl->shownAt = nowMs;
    m_impl->stillSeconds = 0;
    if (std::exchange(m_impl->look.still, false)) {
        ++m_impl->age;
    }
    return frame;
}

void ChannelPicture::Compose() {
    {
        const std::lock_guard lock(m_impl->csFrame);
        m_impl->Compose();
    }
    m_impl->Notify();
}

// --- any thread

std::unique_ptr<CVideoBmpFrame> ChannelPicture::ReleasePicture() {
    std::unique_ptr<CVideoBmpFrame> frame;
    {
        const std::lock_guard lock(m_impl->csFrame);
        frame = std::move(m_impl->curFrame);
        m_impl->hasFrame = false;
        m_impl->ReleaseComposed();
    }
    if (frame) {
        m_impl->Notify();
    }
    return frame;
}

void ChannelPicture::ReleaseComposed() {
    m_impl->ReleaseComposed();
    m_impl->Notify();
}

bool ChannelPicture::HasPicture() const {
    return m_impl->hasFrame;
}

std::uint64_t ChannelPicture::PictureAgeMs(std::uint64_t nowMs) const {
    const std::lock_guard lock(m_impl->csState);
    return !m_impl->hasFrame ? ~std::uint64_t{0} : nowMs - std::min(nowMs, m_impl->shownAt);
}

void ChannelPicture::UpdateStill(std::uint64_t nowMs, std::uint64_t sinceMs) {
    {
        const std::lock_guard lock(m_impl->csState);
        const std::uint64_t wanted = std::max(m_impl->shownAt, sinceMs);
        const bool bStill = m_impl->hasFrame && nowMs >= wanted + kStillMs;
        const int seconds =
            bStill ? static_cast<int>(std::min<std::uint64_t>((nowMs - m_impl->shownAt) / 1000, INT_MAX)) : 0;
        if (seconds == m_impl->stillSeconds) {
            return;
        }
        m_impl->stillSeconds = seconds;
        if (std::exchange(m_impl->look.still, bStill) != bStill) {
            ++m_impl->age;
        }
    }
    m_impl->Notify();
}

int ChannelPicture::GetStillSeconds() const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->hasFrame ? m_impl->stillSeconds : 0;
}

BITMAPINFOHEADER ChannelPicture::GetBitmapInfo() const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->info;
}

void ChannelPicture::SetViewSize(int cx, int cy) {
    {
        const std::lock_guard lock(m_impl->csState);
        Look& look = m_impl->look;
        m_impl->SetLine(SubString::View, FormatText("View: %d x %d", cx, cy));
        if (look.viewWidth == cx && look.viewHeight == cy) {
            return;
        }
        look.viewWidth = cx;
        look.viewHeight = cy;
        m_impl->RefreshDrawRect();
    }
    ReleaseComposed();
}

void ChannelPicture::SetPixelRatio(double ratio) {
    m_impl->Set(m_impl->look.pixelRatio, ratio);
}

void ChannelPicture::SetRepaint(std::function<void()> repaint) {
    auto call = std::make_shared<const std::function<void()>>(std::move(repaint));
    const std::lock_guard lock(m_impl->csState);
    m_impl->repaint.swap(call);
}

void ChannelPicture::SetCHInMainDlg(std::uint32_t n) {
    m_impl->channel = n;
}

void ChannelPicture::SetMainOsdKelvaraString(const std::string& osd) {
    Trace("CBaseCamera::SetMainOsdKelvaraString: m_uCHInMainDlg=%u, lpszOsd=%s...\n", m_impl->channel.load(),
          osd.c_str());
    m_impl->Change([&] { return m_impl->SetText(m_impl->texts.main[0], osd); });
}

void ChannelPicture::SetMainOsdCameraString(const std::string& osd, bool bAutoClean) {
    Trace("CBaseCamera::SetMainOsdCameraString: m_uCHInMainDlg=%u, lpszOsd=%s, bAutoClean=%u...\n",
          m_impl->channel.load(), osd.c_str(), bAutoClean ? 1u : 0u);
    m_impl->Change([&] {
        Texts& texts = m_impl->texts;
        if (!bAutoClean) {
            return m_impl->SetText(texts.forAWhile, osd);
        }
        const bool bUncovered = m_impl->SetText(texts.forAWhile, std::string());
        return m_impl->SetText(texts.main[1], osd) || bUncovered;
    });
}

void ChannelPicture::AutoCleanCaption() {
    m_impl->Change([&] { return m_impl->SetText(m_impl->texts.main[1], std::string()); });
}

std::string ChannelPicture::GetMainCaption() const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->texts.Main();
}

void ChannelPicture::SetSubString(SubString line, const std::string& text) {
    const auto set = [&] { return m_impl->SetLine(line, text); };
    if (line == SubString::DigitalZoom) {
        m_impl->Change(set);
        return;
    }
    // The other lines tell about the stream and come with its next picture.
    const std::lock_guard lock(m_impl->csState);
    set();
}

std::string ChannelPicture::GetSubString(SubString line) const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->texts.lines[Index(line)];
}

void ChannelPicture::SetShowSubStringMask(std::uint32_t mask) {
    m_impl->Set(m_impl->texts.mask, mask);
}

std::uint32_t ChannelPicture::GetShowSubStringMask() const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->texts.mask;
}

bool ChannelPicture::IsLineShown(SubString line) const {
    const std::lock_guard lock(m_impl->csState);
    return (ShownLines(m_impl->texts.mask) >> Index(line) & 1) != 0;
}

void ChannelPicture::SetMainOsdColor(std::uint32_t color) {
    m_impl->Change([&] { return m_impl->SetText(m_impl->texts.color, color); });
}

std::uint32_t ChannelPicture::GetMainOsdColor() const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->texts.color;
}

void ChannelPicture::SetDisplayMode(DisplayMode mode) {
    m_impl->Change([&] {
        const bool isNew = m_impl->look.mode != mode;
        m_impl->look.mode = mode;
        m_impl->RefreshDrawRect();
        return isNew;
    });
}

DisplayMode ChannelPicture::GetDisplayMode() const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->look.mode;
}

void ChannelPicture::SetDeinterlace(bool on) {
    m_impl->Change([&] {
        const bool isNew = m_impl->look.deinterlace != on;
        m_impl->look.deinterlace = on;
        m_impl->SetLine(SubString::Deinterlace, on ? "Deinterlace: On" : "");
        return isNew;
    });
}

bool ChannelPicture::IsDeinterlace() const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->look.deinterlace;
}

void ChannelPicture::StartEventHighlight(int kind) {
    m_impl->Change([&] {
        m_impl->look.eventKind = kind;
        return !std::exchange(m_impl->look.eventHighlight, true);
    });
}

void ChannelPicture::EndEventHighlight() {
    m_impl->Set(m_impl->look.eventHighlight, false);
}

int ChannelPicture::GetEventKind() const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->look.eventKind;
}

bool ChannelPicture::IsEventHighlight() const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->look.eventHighlight;
}

void ChannelPicture::SetEventBlinkState(bool on) {
    m_impl->Set(m_impl->look.eventBlink, on);
}

PixelRect ChannelPicture::GetDrawRect() const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->look.drawRect;
}

void ChannelPicture::SetZoomRect(const PixelRect& rect) {
    m_impl->Set(m_impl->look.zoomRect, rect);
}

PixelRect ChannelPicture::GetZoomRect() const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->look.zoomRect;
}

void ChannelPicture::ResetSettings() {
    SetMainOsdColor(kDefaultOsdColor);
    SetShowSubStringMask(0);
    SetDisplayMode(DisplayMode::Fill);
}

// --- snapshots

namespace {

Snapshot CopyOfImage(const QImage& image) {
    Snapshot snapshot{MakeBitmapInfo(image.width(), image.height()), {}};
    snapshot.bits.resize(snapshot.info.biSizeImage);
    PictureView view;
    view.layout = PixelLayout::Bgra32;
    view.width = image.width();
    view.height = image.height();
    view.data[0] = image.constBits();
    view.stride[0] = image.bytesPerLine();
    const auto stride = static_cast<std::ptrdiff_t>(BitmapStride(view.width));
    ConvertToBgr(view, snapshot.bits.data() + stride * (view.height - 1), -stride);
    return snapshot;
}

}  // namespace

std::optional<Snapshot> ChannelPicture::TakeSnapshot(const std::string& stamp) {
    {
        const std::lock_guard lock(m_impl->csState);
        if (m_impl->look.viewWidth <= 0 || m_impl->look.viewHeight <= 0) {
            return std::nullopt;
        }
    }
    Snapshot snapshot;
    if (Globals().saveProcessImage) {
        const std::lock_guard lock(m_impl->csPublish);
        if (!m_impl->composed) {
            return std::nullopt;
        }
        snapshot = CopyOfImage(m_impl->fresh ? m_impl->ready : m_impl->front);
    } else {
        const std::lock_guard lock(m_impl->csFrame);
        const auto bits = m_impl->curFrame ? m_impl->curFrame->Bitmap() : std::span<const std::uint8_t>();
        if (bits.empty()) {
            return std::nullopt;
        }
        snapshot = {m_impl->curFrame->Info(), {bits.begin(), bits.end()}};
    }
    AddStringOnBitmapImage(snapshot, stamp);
    return snapshot;
}

SnapshotResult ChannelPicture::SaveSnapshot(const std::string& path, bool bJpeg, const std::string& stamp) {
    const auto snapshot = path.empty() ? std::nullopt : TakeSnapshot(stamp);
    if (!snapshot) {
        return SnapshotResult::Refused;
    }
    switch (WriteSnapshot(*snapshot, path, bJpeg, std::chrono::system_clock::now()).step) {
        case SnapshotStep::None:
            return SnapshotResult::Saved;
        case SnapshotStep::Folder:
            return SnapshotResult::Refused;
        default:
            return SnapshotResult::Failed;
    }
}

std::vector<std::uint8_t> ChannelPicture::GetBitmapFile() const {
    const std::lock_guard lock(m_impl->csFrame);
    const auto bits = m_impl->curFrame ? m_impl->curFrame->Bitmap() : std::span<const std::uint8_t>();
    if (bits.empty()) {
        return {};
    }
    return MakeBitmapFile(m_impl->curFrame->Info(), bits);
}

// --- user interface thread

// Takes over what was published. False if the image at hand is not the newest there could be.
bool ChannelPicture::Impl::TakeReady() {
    if (fresh) {
        front.swap(ready);
        fresh = false;
    } else if (!composed) {
        front = QImage();
    }
    return composed && composedAge == age;
}

namespace {

// Draws in device pixels, so that an image of the right size is only copied.
template <typename Draw>
void InDevicePixels(QPainter& painter, const Draw& draw) {
    const double ratio = painter.device()->devicePixelRatio();
    painter.save();
    painter.scale(1.0 / ratio, 1.0 / ratio);
    draw(ratio);
    painter.restore();
}

// The frame of an event that is all there is to see of it yet.
void PaintEventFrame(QPainter& painter, const Look& look) {
    const QRect view(0, 0, look.viewWidth, look.viewHeight);
    const int thick = look.viewWidth / kEventFramePart;
    const QRegion frame = QRegion(view) - QRegion(view.adjusted(thick, thick, -thick, -thick));
    for (const QRect& side : frame) {
        painter.fillRect(side, QColor::fromRgb(kEventFrame));
    }
}

void DrawComposed(QPainter& painter, const QImage& image, int width, int height) {
    InDevicePixels(painter, [&](double ratio) {
        const QSize size(qRound(width * ratio), qRound(height * ratio));
        if (image.size() == size) {
            painter.drawImage(0, 0, image);
        } else {
            painter.drawImage(QRect(QPoint(0, 0), size), image);
        }
    });
}

}  // namespace

bool ChannelPicture::Paint(QPainter& painter, int width, int height) {
    Impl& impl = *m_impl;
    bool isNewest = false;
    {
        const std::unique_lock publish(impl.csPublish, std::try_to_lock);
        if (!publish.owns_lock()) {
            return false;
        }
        isNewest = impl.TakeReady();
    }
    if (isNewest) {
        DrawComposed(painter, impl.front, width, height);
        return true;
    }
    // Nothing new enough was composed: it is made here, unless the decode thread is at it.
    const std::unique_lock frame(impl.csFrame, std::try_to_lock);
    if (frame.owns_lock() && impl.Compose()) {
        const std::lock_guard publish(impl.csPublish);
        impl.TakeReady();
    }
    if (!impl.front.isNull()) {
        DrawComposed(painter, impl.front, width, height);
        return frame.owns_lock();
    }
    if (!frame.owns_lock()) {
        return false;
    }
    std::uint64_t lookAge = 0;
    const Look now = impl.UpdateLook(lookAge);
    painter.fillRect(0, 0, width, height, QColor::fromRgb(kGround));
    InDevicePixels(painter, [&](double) {
        if (now.HasEventFrame()) {
            PaintEventFrame(painter, now);
        }
        impl.captions.Paint(painter);
    });
    return true;
}

}  // namespace kvmon
