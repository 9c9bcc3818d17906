#include "media/jpeg_writer.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

namespace kvrecorder {
namespace {

constexpr std::size_t kSide = 16;
constexpr std::size_t kHalf = kSide / 2;

struct ErrorExit {
    jpeg_error_mgr base;
    std::jmp_buf jump;
};

void Leave(j_common_ptr info) {
    // The library hands back the record that begins with the manager it was given.
    std::longjmp(static_cast<ErrorExit*>(static_cast<void*>(info->err))->jump, 1);
}

struct Coded {
    unsigned char* data = nullptr;  // the library's, from malloc
    unsigned long size = 0;
};

// Nothing with a destructor lives here or in `feed`, since an error leaves by a jump.
template <typename Feed>
bool Compress(const JpegPicture& picture, J_COLOR_SPACE colours, Feed feed, Coded& coded) {
    jpeg_compress_struct info;
    ErrorExit error;
    info.err = jpeg_std_error(&error.base);
    error.base.error_exit = Leave;
    if (setjmp(error.jump) != 0) {
        jpeg_destroy_compress(&info);
        return false;
    }
    jpeg_create_compress(&info);
    jpeg_mem_dest(&info, &coded.data, &coded.size);
    info.image_width = static_cast<JDIMENSION>(picture.width);
    info.image_height = static_cast<JDIMENSION>(picture.height);
    info.input_components = 3;
    info.in_color_space = colours;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, picture.quality, TRUE);
    feed(info);
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    return true;
}

// Copies what was coded, where it was, and frees it in either case.
bool Take(bool done, const Coded& coded, std::vector<std::uint8_t>& jpeg) {
    if (done) {
        jpeg.assign(coded.data, coded.data + coded.size);
    }
    std::free(coded.data);
    return done;
}

void FeedPixels(jpeg_compress_struct& info, std::uint8_t* pixels) {
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        JSAMPROW row = pixels + std::size_t{info.next_scanline} * 3 * info.image_width;
        jpeg_write_scanlines(&info, &row, 1);
    }
}

void FeedBlockRows(jpeg_compress_struct& info, std::uint8_t* rows, std::size_t stride) {
    info.raw_data_in = TRUE;
    jpeg_start_compress(&info, TRUE);
    JSAMPROW y[kSide];
    JSAMPROW u[kHalf];
    JSAMPROW v[kHalf];
    JSAMPARRAY planes[] = {y, u, v};
    while (info.next_scanline < info.image_height) {
        for (JSAMPROW& row : y) {
            row = rows;
            rows += stride;
        }
        for (JSAMPROW& row : u) {
            row = rows;
            rows += stride / 2;
        }
        for (JSAMPROW& row : v) {
            row = rows;
            rows += stride / 2;
        }
        jpeg_write_raw_data(&info, planes, kSide);
    }
}

}  // namespace

bool CompressRgb(const JpegPicture& picture, std::uint8_t* pixels, std::vector<std::uint8_t>& jpeg) {
    Coded coded;
    const auto feed = [=](jpeg_compress_struct& info) { FeedPixels(info, pixels); };
    return Take(Compress(picture, JCS_RGB, feed, coded), coded, jpeg);
}

bool CompressBlockRows(const JpegPicture& picture, std::uint8_t* rows, std::size_t stride,
                       std::vector<std::uint8_t>& jpeg) {
    Coded coded;
    const auto feed = [=](jpeg_compress_struct& info) { FeedBlockRows(info, rows, stride); };
    return Take(Compress(picture, JCS_YCbCr, feed, coded), coded, jpeg);
}

}  // namespace kvrecorder
