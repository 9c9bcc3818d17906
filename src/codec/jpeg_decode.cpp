#include <cstdint>

#include "codec/jpeg_codec.h"
#include "codec/jpeg_error.h"

namespace kvmon {

namespace {

constexpr JpegError kCannotReadHeader = "Cannot read JPEG file header from memory: %X\n";
constexpr JpegError kTooSmall = "The destination buffer is too small\n";
constexpr JpegError kCannotReadData = "Cannot read image data from memory %X\n";

// A larger picture is no camera's, and its rows would not fit the arithmetic below.
constexpr unsigned kMaxJpegSide = 16384;
constexpr std::uint64_t kMaxJpegPixels = 22'000'000;
constexpr int kRowsAtOnce = MAX_SAMP_FACTOR * DCTSIZE;  // the most that a raw read gives
// A progressive picture of thousands of passes would keep the decoder busy for minutes.
constexpr int kMaxScans = 100;

// Everything that must be given back, whichever way a function is left.
struct Decompressor {
    Decompressor() {
        codec.err = InitJpegErrors(errors);
        progress.progress_monitor = StopAtTooManyScans;
        codec.mem = nullptr;
        codec.global_state = 0;
    }
    ~Decompressor() { jpeg_destroy_decompress(&codec); }
    Decompressor(const Decompressor&) = delete;
    Decompressor& operator=(const Decompressor&) = delete;

    static void StopAtTooManyScans(j_common_ptr codec) {
        const auto* const self = static_cast<jpeg_decompress_struct*>(static_cast<void*>(codec));
        if (self->input_scan_number > kMaxScans) {
            codec->err->error_exit(codec);
        }
    }

    jpeg_decompress_struct codec{};
    jpeg_progress_mgr progress{};
    JpegErrorExit errors{};
};

// The steps below are plain functions without destructors of their own, so that a jump out of them
// skips nothing. Each gives false when the library gave up.

bool ReadHead(Decompressor& d, std::span<const std::uint8_t> data) {
    if (setjmp(d.errors.exit) != 0) {
        return false;
    }
    jpeg_create_decompress(&d.codec);
    d.codec.progress = &d.progress;
    jpeg_mem_src(&d.codec, data.data(), static_cast<unsigned long>(data.size()));
    const bool read = jpeg_read_header(&d.codec, TRUE) == JPEG_HEADER_OK;
    const unsigned width = d.codec.image_width;
    const unsigned height = d.codec.image_height;
    return read && width > 0 && height > 0 && width <= kMaxJpegSide && height <= kMaxJpegSide &&
           std::uint64_t{width} * height <= kMaxJpegPixels && d.codec.num_components >= 1 &&
           d.codec.num_components <= 4;
}

int BitmapChannels(const jpeg_decompress_struct& codec) {
    return codec.num_components == 4 ? 4 : codec.num_components == 2 ? 2 : 3;
}

// Reads all rows, the first to `lastRow` and upwards from there.
bool ReadRows(Decompressor& d, std::uint8_t* lastRow, std::size_t stride) {
    if (setjmp(d.errors.exit) != 0) {
        return false;
    }
    if (d.codec.num_components == 4) {
        // Three colour components and an alpha, whatever the file calls them.
        d.codec.jpeg_color_space = JCS_YCCK;
        d.codec.out_color_space = JCS_CMYK;
    } else if (d.codec.num_components == 2) {
        return false;
    } else {
        d.codec.out_color_space = JCS_EXT_BGR;
    }
    d.codec.dct_method = JDCT_IFAST;
    jpeg_start_decompress(&d.codec);
    while (d.codec.output_scanline < d.codec.output_height) {
        JSAMPROW row = lastRow - std::size_t{d.codec.output_scanline} * stride;
        jpeg_read_scanlines(&d.codec, &row, 1);
    }
    jpeg_finish_decompress(&d.codec);
    return true;
}

// Red, green, blue inverted and alpha, as read, to blue, green, red scaled by the alpha.
void CorrectAlphaColours(std::uint8_t* pixels, std::size_t count) {
    for (; count > 0; --count, pixels += 4) {
        const unsigned alpha = pixels[3];
        const auto scaled = [&](int i) {
            return static_cast<std::uint8_t>(((255u - pixels[i]) * alpha + 1) >> 8);
        };
        const std::uint8_t first = scaled(2);
        const std::uint8_t second = scaled(1);
        pixels[2] = scaled(0);
        pixels[1] = second;
        pixels[0] = first;
    }
}

PixelLayout PlaneLayout(const jpeg_decompress_struct& codec) {
    if (codec.num_components == 1) {
        return PixelLayout::Gray;
    }
    if (codec.num_components != 3 || codec.jpeg_color_space != JCS_YCbCr) {
        return PixelLayout::None;
    }
    const jpeg_component_info* const part = codec.comp_info;
    for (int i = 1; i < 3; ++i) {
        if (part[i].h_samp_factor != 1 || part[i].v_samp_factor != 1) {
            return PixelLayout::None;
        }
    }
    switch (part[0].h_samp_factor * 10 + part[0].v_samp_factor) {
        case 22:
            return PixelLayout::I420;
        case 21:
            return PixelLayout::I422;
        case 11:
            return PixelLayout::I444;
        default:
            return PixelLayout::None;
    }
}

struct Plane {
    std::uint8_t* data;
    std::size_t stride;
};

bool ReadPlanes(Decompressor& d, const Plane* planes, int count) {
    if (setjmp(d.errors.exit) != 0) {
        return false;
    }
    d.codec.raw_data_out = TRUE;
    d.codec.dct_method = JDCT_IFAST;
    jpeg_start_decompress(&d.codec);
    JSAMPROW rows[3][kRowsAtOnce];
    JSAMPARRAY arrays[3] = {rows[0], rows[1], rows[2]};
    const auto linesAtOnce = static_cast<JDIMENSION>(d.codec.max_v_samp_factor * DCTSIZE);
    while (d.codec.output_scanline < d.codec.output_height) {
        for (int i = 0; i < count; ++i) {
            const int lines = d.codec.comp_info[i].v_samp_factor * DCTSIZE;
            const int first = static_cast<int>(d.codec.output_scanline) * d.codec.comp_info[i].v_samp_factor /
                              d.codec.max_v_samp_factor;
            for (int k = 0; k < lines; ++k) {
                rows[i][k] = planes[i].data + static_cast<std::size_t>(first + k) * planes[i].stride;
            }
        }
        if (jpeg_read_raw_data(&d.codec, arrays, linesAtOnce) == 0) {
            return false;
        }
    }
    jpeg_finish_decompress(&d.codec);
    return true;
}

}  // namespace

bool IsJpeg(std::span<const std::uint8_t> data) {
    return data.size() >= 2 && data[0] == 0xFF && data[1] == 0xD8;
}

bool GetJpegInfo(std::span<const std::uint8_t> data, int* pWidth, int* pHeight, std::uint32_t* pSize) {
    Decompressor d;
    if (!ReadHead(d, data)) {
        return false;
    }
    *pWidth = static_cast<int>(d.codec.image_width);
    *pHeight = static_cast<int>(d.codec.image_height);
    *pSize = MakeBitmapInfo(*pWidth, *pHeight, 8 * BitmapChannels(d.codec)).biSizeImage;
    return true;
}

JpegError DecodeJpeg(std::span<const std::uint8_t> data, std::span<std::uint8_t> destination,
                     BITMAPINFOHEADER* pBmpInfo) {
    Decompressor d;
    if (!ReadHead(d, data)) {
        return kCannotReadHeader;
    }
    const int width = static_cast<int>(d.codec.image_width);
    const int height = static_cast<int>(d.codec.image_height);
    const int channels = BitmapChannels(d.codec);
    const BITMAPINFOHEADER info = MakeBitmapInfo(width, height, 8 * channels);
    if (destination.size() < info.biSizeImage) {
        return kTooSmall;
    }
    const std::size_t stride = BitmapStride(width, 8 * channels);
    if (!ReadRows(d, destination.data() + stride * static_cast<std::size_t>(height - 1), stride)) {
        return kCannotReadData;
    }
    if (channels == 4) {
        CorrectAlphaColours(destination.data(),
                            static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    }
    *pBmpInfo = info;
    return nullptr;
}

PictureView DecodeJpegPlanes(std::span<const std::uint8_t> data, std::vector<std::uint8_t>& storage) {
    Decompressor d;
    if (!ReadHead(d, data)) {
        return {};
    }
    PictureView view;
    view.layout = PlaneLayout(d.codec);
    if (view.IsEmpty()) {
        return {};
    }
    view.fullRange = true;
    view.width = static_cast<int>(d.codec.image_width);
    view.height = static_cast<int>(d.codec.image_height);

    // Raw reads write whole blocks, so each plane is as wide and as high as its blocks.
    const int count = view.layout == PixelLayout::Gray ? 1 : 3;
    Plane planes[3] = {};
    std::size_t offsets[3] = {};
    std::size_t total = 0;
    const auto blocks = [](unsigned samples, int factor) {
        const auto size = static_cast<std::size_t>(factor) * DCTSIZE;
        return (samples + size - 1) / size;
    };
    const std::size_t across = blocks(d.codec.image_width, d.codec.max_h_samp_factor);
    const std::size_t down = blocks(d.codec.image_height, d.codec.max_v_samp_factor);
    for (int i = 0; i < count; ++i) {
        const jpeg_component_info& part = d.codec.comp_info[i];
        planes[i].stride = across * static_cast<std::size_t>(part.h_samp_factor) * DCTSIZE;
        offsets[i] = total;
        total += planes[i].stride * down * static_cast<std::size_t>(part.v_samp_factor) * DCTSIZE;
    }
    if (storage.size() < total) {
        storage.resize(total);
    }
    for (int i = 0; i < count; ++i) {
        planes[i].data = storage.data() + offsets[i];
        view.data[i] = planes[i].data;
        view.stride[i] = static_cast<std::ptrdiff_t>(planes[i].stride);
    }
    if (!ReadPlanes(d, planes, count)) {
        return {};
    }
    return view;
}

}  // namespace kvmon
