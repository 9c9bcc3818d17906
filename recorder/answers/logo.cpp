#include "answers/logo.h"

#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <jpeglib.h>

namespace kvrecorder {
namespace {

constexpr int kWidth = 160;
constexpr int kHeight = 48;

// A lens on a dark ground that brightens to the right.
void DrawRow(int y, std::vector<JSAMPLE>& row) {
    for (int x = 0; x < kWidth; ++x) {
        const double distance = std::hypot(x - 28.0, y - 24.0);
        const bool ring = distance < 17 && (distance > 12 || distance < 6);
        const bool bar = x > 56 && x < 148 && (y / 8) % 2 == 1 && x < 148 - 3 * (y - 24) / 2;
        const int ground = 24 + x / 4;
        const auto at = static_cast<std::size_t>(3 * x);
        row[at] = static_cast<JSAMPLE>(ring ? 240 : bar ? 60 : ground);
        row[at + 1] = static_cast<JSAMPLE>(ring ? 170 : bar ? 150 : ground + 10);
        row[at + 2] = static_cast<JSAMPLE>(ring ? 60 : bar ? 220 : ground + 24);
    }
}

struct ErrorExit {
    jpeg_error_mgr base;
    std::jmp_buf jump;
};

void Leave(j_common_ptr info) {
    // The library hands back the record that begins with the manager it was given.
    std::longjmp(static_cast<ErrorExit*>(static_cast<void*>(info->err))->jump, 1);
}

// Nothing with a destructor lives here, since an error leaves by a jump.
bool Compress(JSAMPLE* pixels, unsigned char** data, unsigned long* size) {
    jpeg_compress_struct info;
    ErrorExit error;
    info.err = jpeg_std_error(&error.base);
    error.base.error_exit = Leave;
    if (setjmp(error.jump) != 0) {
        jpeg_destroy_compress(&info);
        return false;
    }
    jpeg_create_compress(&info);
    jpeg_mem_dest(&info, data, size);
    info.image_width = kWidth;
    info.image_height = kHeight;
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 88, TRUE);
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        JSAMPROW row = pixels + info.next_scanline * 3 * kWidth;
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    return true;
}

std::string Draw() {
    std::vector<JSAMPLE> pixels;
    std::vector<JSAMPLE> row(3 * kWidth);
    for (int y = 0; y < kHeight; ++y) {
        DrawRow(y, row);
        pixels.insert(pixels.end(), row.begin(), row.end());
    }
    unsigned char* data = nullptr;
    unsigned long size = 0;
    std::string picture;
    if (Compress(pixels.data(), &data, &size)) {
        picture.assign(data, data + size);
    }
    std::free(data);
    return picture;
}

}  // namespace

const std::string& LogoJpeg() {
    static const std::string picture = Draw();
    return picture;
}

}  // namespace kvrecorder
