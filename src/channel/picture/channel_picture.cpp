#include "channel/picture/channel_picture.h"

#include <QtGui/QPainter>
#include <algorithm>
#include <climits>

#include "channel/picture/picture_state.h"
#include "platform/text.h"

namespace kvmon {

ChannelPicture::ChannelPicture(std::function<void()> wholeWanted)
    : m_impl(std::make_unique<PictureState>(std::move(wholeWanted))) {}

ChannelPicture::~ChannelPicture() = default;

// --- decode thread

BITMAPINFOHEADER ChannelPicture::SetBitmapInfo(const BITMAPINFOHEADER& info) {
    const std::lock_guard lock(m_impl->csState);
    if (info == m_impl->info) {
        return info;
    }
    const BITMAPINFOHEADER before = std::exchange(m_impl->info, info);
    m_impl->RefreshDrawRect();
    m_impl->texts.SetLine(SubString::Stream, FormatText("Stream: %d x %d", info.biWidth, info.biHeight));
    return before;
}

std::unique_ptr<CVideoBmpFrame> ChannelPicture::Present(std::unique_ptr<CVideoBmpFrame> frame,
                                                        const PictureCounts& counts) {
    PictureState::Repaint repaint;
    {
        const std::lock_guard lock(m_impl->csFrame);
        m_impl->curFrame.swap(frame);
        m_impl->hasFrame = m_impl->curFrame != nullptr;
        std::pair<Look, std::uint64_t> now;
        {
            const std::lock_guard state(m_impl->csState);
            m_impl->OnPicture(counts);
            now = m_impl->CopyLook();
            repaint = m_impl->repaint;
        }
        m_impl->Compose(now);
    }
    PictureState::Call(repaint);
    return frame;
}

PictureSize ChannelPicture::GetShownSize() const {
    const std::lock_guard lock(m_impl->csState);
    const Look& look = m_impl->look;
    return look.viewWidth > 0 && !look.NeedsWhole()
               ? PictureSize{look.drawRect.Width(), look.drawRect.Height()}
               : PictureSize{};
}

void ChannelPicture::CompletePicture() {
    PictureState& impl = *m_impl;
    if (!impl.bWholeWanted || !impl.bWholeWanted.exchange(false)) {
        return;
    }
    std::shared_ptr<WholePicture> whole;
    {
        const std::lock_guard lock(impl.csFrame);
        whole = impl.curFrame ? impl.curFrame->Whole() : nullptr;
    }
    // Under no lock: a device may take its time.
    DecodedPicture picture;
    const bool bRead = whole && whole->Read(picture);
    {
        const std::lock_guard lock(impl.csFrame);
        if (!whole || !impl.curFrame || impl.curFrame->Whole() != whole) {
            return;
        }
        if (!bRead) {
            impl.curFrame->DropWhole();
            return;
        }
        const BITMAPINFOHEADER info = impl.curFrame->Info();
        impl.curFrame->SetPicture(info, std::move(picture));
        if (!impl.Compose(impl.UpdateLook())) {
            return;
        }
    }
    impl.Notify();
}

// --- any thread

std::unique_ptr<CVideoBmpFrame> ChannelPicture::ReleasePicture() {
    std::unique_ptr<CVideoBmpFrame> frame;
    {
        const std::lock_guard lock(m_impl->csFrame);
        frame = std::move(m_impl->curFrame);
        m_impl->hasFrame = false;
        m_impl->published.Release();
    }
    if (frame) {
        m_impl->Notify();
    }
    return frame;
}

void ChannelPicture::ReleaseComposed() {
    m_impl->published.Release();
    m_impl->Notify();
}

void ChannelPicture::ReleaseWork() {
    const std::lock_guard lock(m_impl->csFrame);
    m_impl->composer.Release();
    m_impl->published.Release();
    if (m_impl->curFrame) {
        m_impl->curFrame->DropWhole();
    }
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

// --- user interface thread

void ChannelPicture::ReleaseView() {
    m_impl->published.Release();
    m_impl->published.Take();
}

std::size_t ChannelPicture::GetWorkBytes() const {
    const std::lock_guard lock(m_impl->csFrame);
    return m_impl->composer.GetBytes() + m_impl->published.GetBytes();
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

const QImage* ChannelPicture::TakeNewest() {
    PublishedImage& published = m_impl->published;
    return published.TryTake(m_impl->age) == PublishedImage::Taken::Newest ? &published.Front() : nullptr;
}

bool ChannelPicture::Paint(QPainter& painter, int width, int height, Newest newest) {
    PictureState& impl = *m_impl;
    if (newest == Newest::Leave && !impl.published.Front().isNull()) {
        DrawComposed(painter, impl.published.Front(), width, height);
        return false;
    }
    switch (impl.published.TryTake(impl.age)) {
        case PublishedImage::Taken::Busy:
            return false;
        case PublishedImage::Taken::Newest:
            DrawComposed(painter, impl.published.Front(), width, height);
            return true;
        case PublishedImage::Taken::Old:
            break;
    }
    // Nothing new enough was composed: it is made here, unless the decode thread is at it.
    const std::unique_lock frame(impl.csFrame, std::try_to_lock);
    std::pair<Look, std::uint64_t> now;
    if (frame.owns_lock()) {
        now = impl.UpdateLook();
        if (impl.Compose(now)) {
            impl.published.Take();
        }
    }
    if (!impl.published.Front().isNull()) {
        DrawComposed(painter, impl.published.Front(), width, height);
        return frame.owns_lock();
    }
    if (!frame.owns_lock()) {
        return false;
    }
    painter.fillRect(0, 0, width, height, QColor::fromRgb(kGround));
    InDevicePixels(painter, [&](double) { impl.composer.PaintWithout(painter, now.first); });
    return true;
}

}  // namespace kvmon
