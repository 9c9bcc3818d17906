#include "channel/picture/picture_composer.h"

#include <QtGui/QPainter>
#include <QtGui/QRegion>
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "channel/picture/deinterlace.h"
#include "channel/picture/pixels.h"

namespace kvmon {

namespace {

// The frame of an event that is all there is to see of it yet.
void PaintEventFrame(QPainter& painter, const Look& look) {
    const QRect view(0, 0, look.viewWidth, look.viewHeight);
    const int thick = look.viewWidth / kEventFramePart;
    const QRegion frame = QRegion(view) - QRegion(view.adjusted(thick, thick, -thick, -thick));
    for (const QRect& side : frame) {
        painter.fillRect(side, QColor::fromRgb(kEventFrame));
    }
}

// The part to show of a source that is smaller than the picture whose pixels it is told in.
PixelRect PartOf(const PictureView& source, const BITMAPINFOHEADER& info, const PixelRect& zoom) {
    const PixelRect part = ShownPart(zoom, info.biWidth, info.biHeight);
    if (source.width == info.biWidth && source.height == info.biHeight) {
        return part;
    }
    const auto across = [&](int x) {
        return static_cast<int>(std::int64_t{x} * source.width / info.biWidth);
    };
    const auto down = [&](int y) {
        return static_cast<int>(std::int64_t{y} * source.height / info.biHeight);
    };
    PixelRect scaled{across(part.left), down(part.top), across(part.right), down(part.bottom)};
    scaled.right = std::max(scaled.right, scaled.left + 1);
    scaled.bottom = std::max(scaled.bottom, scaled.top + 1);
    return scaled;
}

bool IsInside(const PixelRect& rect, const Look& look) {
    return rect.left >= 0 && rect.top >= 0 && rect.right <= look.viewWidth && rect.bottom <= look.viewHeight;
}

}  // namespace

void PictureComposer::UpdateCaptions(const Look& look) {
    m_captions.Update(m_texts.texts, look.viewWidth, look.viewHeight, look.pixelRatio);
}

// The picture on show, or its deinterlaced copy.
PictureView PictureComposer::SourceOf(CVideoBmpFrame& frame, const Look& look) {
    if (!look.deinterlace) {
        return frame.View();
    }
    const auto bits = frame.Bitmap();
    const BITMAPINFOHEADER& header = frame.Info();
    const auto length = static_cast<std::uint32_t>(bits.size());
    m_deinterlaced.SetShare(frame.Share());
    if (bits.empty() || !m_deinterlaced.Reserve(length)) {
        return frame.View();
    }
    std::memcpy(m_deinterlaced.Begin(), bits.data(), bits.size());
    DeinterlaceRows({m_deinterlaced.Begin(), length}, BitmapStride(header.biWidth, header.biBitCount),
                    header.biHeight, ChooseDeinterlaceWay(header.biHeight, look.viewHeight));
    return ViewOfBitmap(header, m_deinterlaced.Begin());
}

QImage PictureComposer::MakeImage(int width, int height) const {
    QImage image = m_make ? (*m_make)(width, height) : QImage();
    return image.isNull() ? QImage(width, height, QImage::Format_RGB32) : image;
}

bool PictureComposer::DrawInto(QImage& image, CVideoBmpFrame& frame, const Look& look) {
    const PictureView source = SourceOf(frame, look);
    if (image.width() != look.viewWidth || image.height() != look.viewHeight) {
        image = MakeImage(look.viewWidth, look.viewHeight);
    }
    const PixelImage out{image.bits(), image.bytesPerLine(), image.width(), image.height()};
    if (out.pixels == nullptr) {
        return false;
    }
    if (!m_scaler.Draw(source, PartOf(source, frame.Info(), look.zoomRect), out.pixels, out.stride,
                       look.drawRect)) {
        return false;
    }
    FillAround(out, look.drawRect, kBlack);
    if (look.still) {
        GreyOut(out);
    }
    if (look.HasEventFrame()) {
        const int thick = look.viewWidth / kEventFramePart;
        FillAround(out, {thick, thick, look.viewWidth - thick, look.viewHeight - thick}, kEventFrame);
    }
    m_captions.Blend(out);
    return true;
}

bool PictureComposer::Compose(CVideoBmpFrame& frame, const Look& look) {
    if (frame.Info().biHeight < 0) {
        return false;
    }
    UpdateCaptions(look);
    return look.viewWidth > 0 && look.viewHeight > 0 && !look.drawRect.IsEmpty() &&
           IsInside(look.drawRect, look) && DrawInto(m_image, frame, look);
}

void PictureComposer::Release() {
    m_image = QImage();
    m_scaler = CellScaler();
    m_deinterlaced.Release();
}

void PictureComposer::PaintWithout(QPainter& painter, const Look& look) {
    UpdateCaptions(look);
    if (look.HasEventFrame()) {
        PaintEventFrame(painter, look);
    }
    m_captions.Paint(painter);
}

}  // namespace kvmon
