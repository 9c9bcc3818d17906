// JPEG pictures off the wire, up to the cell.
#include <cstdlib>
#include <vector>

#include "codec/cell_scaler.h"
#include "codec/jpeg_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> file(data, size);
    kvmon::IsJpeg(file);
    int width = 0;
    int height = 0;
    std::uint32_t bytes = 0;
    // Larger pictures differ in the time they take alone.
    if (!kvmon::GetJpegInfo(file, &width, &height, &bytes) || bytes > (1u << 20)) {
        return 0;
    }
    static kvmon::CellScaler scaler;
    std::vector<std::uint8_t> cell(40 * 30 * 4);
    const auto draw = [&](const kvmon::PictureView& view) {
        if (!view.IsEmpty() && (view.width != width || view.height != height)) {
            std::abort();
        }
        scaler.Draw(view, {0, 0, width, height}, cell.data(), 40 * 4, {0, 0, 40, 30});
    };
    // Memory of its own for each, so that nothing behind it goes unseen.
    std::vector<std::uint8_t> bits(bytes);
    kvmon::BITMAPINFOHEADER info;
    if (kvmon::DecodeJpeg(file, bits, &info) == nullptr) {
        draw(kvmon::ViewOfBitmap(info, bits.data()));
    }
    std::vector<std::uint8_t> storage;
    draw(kvmon::DecodeJpegPlanes(file, storage));
    return 0;
}
