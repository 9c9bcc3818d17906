// A channel's picture as a file.
#include <QtGui/QImage>
#include <chrono>

#include "channel/base/channel_globals.h"
#include "channel/picture/channel_picture.h"
#include "channel/picture/picture_state.h"

namespace kvmon {

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
        if (!m_impl->published.Read([&](const QImage& image) { snapshot = CopyOfImage(image); })) {
            return std::nullopt;
        }
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

SnapshotResult ChannelPicture::SaveSnapshot(const std::string& path, SnapshotFormat format,
                                            const std::string& stamp) {
    const auto snapshot = path.empty() ? std::nullopt : TakeSnapshot(stamp);
    if (!snapshot) {
        return SnapshotResult::Refused;
    }
    switch (WriteSnapshot(*snapshot, path, format, std::chrono::system_clock::now()).step) {
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

}  // namespace kvmon
