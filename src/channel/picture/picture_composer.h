// Makes a cell's image of a picture: scaled, framed, with its texts.
#pragma once

#include <QtGui/QImage>
#include <memory>

#include "channel/frames/frame_pool.h"
#include "channel/picture/captions.h"
#include "channel/picture/image_maker.h"
#include "channel/picture/picture_look.h"
#include "channel/picture/picture_texts.h"
#include "codec/cell_scaler.h"

class QPainter;

namespace kvmon {

// One thread at a time. From picture to picture nothing is allocated.
class PictureComposer {
public:
    // The texts as they are drawn, to be brought up to date by their owner.
    PictureTexts::Seen& Texts() { return m_texts; }
    // What images are made by; null: they are in memory as any.
    void UseMaker(const std::shared_ptr<const ImageMaker>& make) {
        if (m_make != make) {
            m_make = make;
        }
    }
    // False if there is nothing to draw or nothing to draw on.
    bool Compose(CVideoBmpFrame& frame, const Look& look);
    // What was composed last. It may be exchanged for any other image.
    QImage& Image() { return m_image; }
    // Of the image and the work memory.
    std::size_t GetBytes() const {
        return static_cast<std::size_t>(m_image.sizeInBytes()) + m_scaler.GetBytes() +
               m_deinterlaced.GetCapacity();
    }
    // Gives the work memory back, the image with it.
    void Release();
    // What there is to see without a picture, with a painter whose units are the view's pixels.
    void PaintWithout(QPainter& painter, const Look& look);

private:
    PictureView SourceOf(CVideoBmpFrame& frame, const Look& look);
    QImage MakeImage(int width, int height) const;
    bool DrawInto(QImage& image, CVideoBmpFrame& frame, const Look& look);
    void UpdateCaptions(const Look& look);

    PictureTexts::Seen m_texts;
    CaptionLayer m_captions;
    CellScaler m_scaler;
    CBuffer m_deinterlaced;
    std::shared_ptr<const ImageMaker> m_make;
    QImage m_image;
};

}  // namespace kvmon
