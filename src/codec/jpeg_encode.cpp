#include <cstdlib>

#include "codec/jpeg_codec.h"
#include "codec/jpeg_error.h"
#include "platform/whole_file.h"

namespace kvmon {

namespace {

constexpr JpegError kMemory = "Memory error";
constexpr std::size_t kFirstBuffer = 64 << 10;
constexpr JpegError kCannotOpen = "JpegFile :\nCan't open %s\n";

// The bitmap's rows from the top, without padding: red, green and blue, or grey.
std::vector<std::uint8_t> PackedRows(const BITMAPINFOHEADER& info, std::span<const std::uint8_t> bits,
                                     bool color) {
    const auto width = static_cast<std::size_t>(info.biWidth);
    const auto height = static_cast<std::size_t>(info.biHeight);
    const std::size_t stride = BitmapStride(info.biWidth, info.biBitCount);
    std::vector<std::uint8_t> packed(width * height * (color ? 3 : 1));
    std::uint8_t* out = packed.data();
    for (std::size_t y = height; y-- > 0;) {
        const std::uint8_t* pixel = bits.data() + y * stride;
        for (std::size_t x = 0; x < width; ++x, pixel += info.biBitCount / 8) {
            std::uint8_t blue = pixel[0];
            std::uint8_t green = pixel[1];
            std::uint8_t red = 0;
            if (info.biBitCount == 16) {
                const unsigned word = pixel[0] | static_cast<unsigned>(pixel[1]) << 8;
                blue = static_cast<std::uint8_t>((word & 31) << 3);
                green = static_cast<std::uint8_t>((word >> 5 & 31) << 3);
                red = static_cast<std::uint8_t>((word >> 10 & 31) << 3);
            } else {
                red = pixel[2];
            }
            if (color) {
                *out++ = red;
                *out++ = green;
                *out++ = blue;
            } else {
                *out++ = static_cast<std::uint8_t>(0.299 * red + 0.587 * green + 0.114 * blue);
            }
        }
    }
    return packed;
}

struct Compressor {
    Compressor() {
        codec.err = InitJpegErrors(errors);
        destination.manager.init_destination = Begin;
        destination.manager.empty_output_buffer = Grow;
        destination.manager.term_destination = End;
    }
    ~Compressor() {
        jpeg_destroy_compress(&codec);
        std::free(destination.memory);
    }
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    // Memory that grows. The library's own memory destination leaves a freed pointer behind when it
    // cannot grow.
    struct Destination {
        jpeg_destination_mgr manager{};  // first, so that both have one address
        JOCTET* memory = nullptr;
        std::size_t capacity = 0;
        std::size_t length = 0;
    };

    static Destination& Of(j_compress_ptr codec) {
        return *static_cast<Destination*>(static_cast<void*>(codec->dest));
    }
    static void Begin(j_compress_ptr codec) { Grow(codec); }
    // Called with the buffer full.
    static boolean Grow(j_compress_ptr codec) {
        Destination& to = Of(codec);
        const std::size_t wanted = to.capacity == 0 ? kFirstBuffer : to.capacity * 2;
        void* const grown = std::realloc(to.memory, wanted);
        if (grown == nullptr) {
            codec->err->error_exit(static_cast<j_common_ptr>(static_cast<void*>(codec)));
            return FALSE;
        }
        to.memory = static_cast<JOCTET*>(grown);
        to.manager.next_output_byte = to.memory + to.capacity;
        to.manager.free_in_buffer = wanted - to.capacity;
        to.capacity = wanted;
        return TRUE;
    }
    static void End(j_compress_ptr codec) {
        Destination& to = Of(codec);
        to.length = to.capacity - to.manager.free_in_buffer;
    }

    jpeg_compress_struct codec{};
    JpegErrorExit errors{};
    Destination destination;
};

// No destructors in here: a jump leaves it.
bool Compress(Compressor& c, const BITMAPINFOHEADER& info, const std::uint8_t* rows, int quality,
              bool color) {
    if (setjmp(c.errors.exit) != 0) {
        return false;
    }
    jpeg_create_compress(&c.codec);
    c.codec.dest = &c.destination.manager;
    c.codec.image_width = static_cast<JDIMENSION>(info.biWidth);
    c.codec.image_height = static_cast<JDIMENSION>(info.biHeight);
    c.codec.input_components = color ? 3 : 1;
    c.codec.in_color_space = color ? JCS_RGB : JCS_GRAYSCALE;
    jpeg_set_defaults(&c.codec);
    jpeg_set_quality(&c.codec, quality, TRUE);
    jpeg_start_compress(&c.codec, TRUE);
    const std::size_t stride =
        std::size_t{c.codec.image_width} * static_cast<std::size_t>(c.codec.input_components);
    while (c.codec.next_scanline < c.codec.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(rows + c.codec.next_scanline * stride);
        jpeg_write_scanlines(&c.codec, &row, 1);
    }
    jpeg_finish_compress(&c.codec);
    return true;
}

}  // namespace

JpegError SaveJpegMemory(std::vector<std::uint8_t>& out, const BITMAPINFOHEADER& info,
                         std::span<const std::uint8_t> bits, int quality, bool bColor) {
    const bool known = info.biBitCount == 16 || info.biBitCount == 24 || info.biBitCount == 32;
    if (!known || info.biWidth <= 0 || info.biHeight <= 0 ||
        bits.size() < BitmapStride(info.biWidth, info.biBitCount) * static_cast<std::size_t>(info.biHeight)) {
        return kMemory;
    }
    const std::vector<std::uint8_t> rows = PackedRows(info, bits, bColor);
    Compressor c;
    if (!Compress(c, info, rows.data(), quality, bColor)) {
        return kMemory;
    }
    out.assign(c.destination.memory, c.destination.memory + c.destination.length);
    return nullptr;
}

JpegError SaveJpegFile(const std::string& path, const BITMAPINFOHEADER& info,
                       std::span<const std::uint8_t> bits, int quality, bool bColor) {
    std::vector<std::uint8_t> data;
    if (const JpegError error = SaveJpegMemory(data, info, bits, quality, bColor)) {
        return error;
    }
    return SaveWholeFile(path, data) ? nullptr : kCannotOpen;
}

}  // namespace kvmon
