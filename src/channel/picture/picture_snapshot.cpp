// A channel's picture as a file.
#include <QtGui/QImage>
#include <chrono>

#include "channel/base/channel_globals.h"
#include "channel/picture/channel_picture.h"
#include "channel/picture/picture_state.h"

namespace kvmon {

namespace {

Snapshot CopyOfImage(const QImage& image) {
    PictureView view;
    view.layout = PixelLayout::Bgra32;
    view.width = image.width();
    view.height = image.height();
    view.data[0] = image.constBits();
    view.stride[0] = image.bytesPerLine();
    return MakeSnapshot(view);
}

// Nothing if there is no memory for it.
std::optional<Snapshot> CopyOfFrame(CVideoBmpFrame& frame) {
    if (frame.Whole()) {
        Snapshot snapshot = MakeSnapshot(frame.View());
        snapshot.whole = frame.Whole();
        return snapshot;
    }
    const auto bits = frame.Bitmap();
    return bits.empty() ? std::nullopt : std::optional(Snapshot{frame.Info(), {bits.begin(), bits.end()}});
}

}  // namespace

std::optional<Snapshot> ChannelPicture::TakeSnapshot(const std::string& stamp) {
    {
        const std::lock_guard lock(m_impl->csState);
        if (m_impl->look.viewWidth <= 0 || m_impl->look.viewHeight <= 0) {
            return std::nullopt;
        }
    }
    std::optional<Snapshot> snapshot;
    if (Globals().saveProcessImage) {
        m_impl->published.Read([&](const QImage& image) { snapshot = CopyOfImage(image); });
    } else {
        const std::lock_guard lock(m_impl->csFrame);
        snapshot = m_impl->curFrame ? CopyOfFrame(*m_impl->curFrame) : std::nullopt;
    }
    if (snapshot) {
        AddStringOnBitmapImage(*snapshot, stamp);
        snapshot->stamp = snapshot->whole ? stamp : std::string();
    }
    return snapshot;
}

SnapshotResult ChannelPicture::SaveSnapshot(const std::string& path, SnapshotFormat format,
                                            const std::string& stamp) {
    auto snapshot = path.empty() ? std::nullopt : TakeSnapshot(stamp);
    if (!snapshot) {
        return SnapshotResult::Refused;
    }
    CompleteSnapshot(*snapshot);
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
    std::optional<Snapshot> snapshot;
    {
        const std::lock_guard lock(m_impl->csFrame);
        snapshot = m_impl->curFrame ? CopyOfFrame(*m_impl->curFrame) : std::nullopt;
    }
    if (!snapshot) {
        return {};
    }
    CompleteSnapshot(*snapshot);
    return MakeBitmapFile(snapshot->info, snapshot->bits);
}

}  // namespace kvmon
