#include "web/session/tile_encoder.h"

#include <csetjmp>
#include <cstdio>
// libjpeg's header wants this one before it.
#include <jpeglib.h>

#include <QtCore/QBuffer>
#include <QtGui/QImageWriter>

namespace kvmon {

namespace {

// libpng's fast end: what is sent as PNG is small or rare.
constexpr int kPngQuality = 85;

struct ErrorManager {
    jpeg_error_mgr base;  // first: libjpeg hands back a pointer to it
    std::jmp_buf jump;
};

[[noreturn]] void OnError(j_common_ptr info) {
    std::longjmp(reinterpret_cast<ErrorManager*>(info->err)->jump, 1);
}

void OnMessage(j_common_ptr) {}

constexpr std::size_t kGrowth = 32 * 1024;

// Writes to the end of a vector.
struct VectorDestination {
    jpeg_destination_mgr base;  // first, as above
    std::vector<std::uint8_t>* out;

    void Offer(std::size_t used) {
        out->resize(used + kGrowth);
        base.next_output_byte = out->data() + used;
        base.free_in_buffer = kGrowth;
    }
};

VectorDestination& DestinationOf(j_compress_ptr info) {
    return *reinterpret_cast<VectorDestination*>(info->dest);
}

void OnStart(j_compress_ptr info) {
    DestinationOf(info).Offer(DestinationOf(info).out->size());
}

boolean OnFull(j_compress_ptr info) {
    DestinationOf(info).Offer(DestinationOf(info).out->size());
    return TRUE;
}

void OnEnd(j_compress_ptr info) {
    VectorDestination& to = DestinationOf(info);
    to.out->resize(to.out->size() - to.base.free_in_buffer);
}

}  // namespace

struct TileEncoder::Compressor {
    jpeg_compress_struct info{};
    ErrorManager errors{};
    VectorDestination destination{};
};

TileEncoder::TileEncoder() : m_compressor(std::make_unique<Compressor>()) {
    m_compressor->info.err = jpeg_std_error(&m_compressor->errors.base);
    m_compressor->errors.base.error_exit = OnError;
    m_compressor->errors.base.output_message = OnMessage;
    jpeg_create_compress(&m_compressor->info);
    m_compressor->destination.base = {nullptr, 0, OnStart, OnFull, OnEnd};
    m_compressor->info.dest = &m_compressor->destination.base;
}

TileEncoder::~TileEncoder() {
    jpeg_destroy_compress(&m_compressor->info);
}

bool TileEncoder::AppendJpeg(const QImage& picture, const QRect& rect, int quality,
                             std::vector<std::uint8_t>& out) {
    Compressor& work = *m_compressor;
    jpeg_compress_struct& info = work.info;
    const std::size_t before = out.size();
    if (setjmp(work.errors.jump) != 0) {
        jpeg_abort_compress(&info);
        out.resize(before);
        return false;
    }
    work.destination.out = &out;
    info.image_width = static_cast<JDIMENSION>(rect.width());
    info.image_height = static_cast<JDIMENSION>(rect.height());
    info.input_components = 4;
    info.in_color_space = JCS_EXT_BGRX;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, quality, TRUE);
    info.dct_method = JDCT_IFAST;
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        const uchar* const row =
            picture.constScanLine(rect.top() + static_cast<int>(info.next_scanline)) + rect.left() * 4;
        JSAMPROW rows[] = {const_cast<JSAMPROW>(row)};
        jpeg_write_scanlines(&info, rows, 1);
    }
    jpeg_finish_compress(&info);
    return true;
}

bool TileEncoder::AppendPng(const QImage& picture, const QRect& rect, std::vector<std::uint8_t>& out) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    writer.setQuality(kPngQuality);
    const QImage part(picture.constScanLine(rect.top()) + rect.left() * 4, rect.width(), rect.height(),
                      picture.bytesPerLine(), QImage::Format_RGB32);
    if (!writer.write(part)) {
        return false;
    }
    out.insert(out.end(), bytes.begin(), bytes.end());
    return true;
}

}  // namespace kvmon
