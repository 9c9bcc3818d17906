// Units of H.264 and MPEG-4 through the decoder contract. The first byte chooses the code; each unit
// follows its length of two bytes.
#include <cstdlib>
#include <vector>

#include "codec/cell_scaler.h"
#include "codec/video_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int kWidth = 176;
    constexpr int kHeight = 98;
    if (size < 1) {
        return 0;
    }
    const auto decoder = kvmon::CreateVideoDecoder();
    const int type = data[0] % 2 == 0 ? kvmon::kStreamTypeH264 : kvmon::kStreamTypeMpeg4;
    if (decoder->Init({type, kWidth, kHeight, 1}) != kvmon::kDecodeOk) {
        std::abort();
    }
    std::span<const std::uint8_t> rest(data + 1, size - 1);
    kvmon::CellScaler scaler;
    std::vector<std::uint8_t> cell(40 * 30 * 4);
    kvmon::DecodedPicture picture;
    for (int unit = 0; unit < 8 && rest.size() > 2; ++unit) {
        const std::size_t length =
            std::min<std::size_t>(std::size_t{rest[0]} | std::size_t{rest[1]} << 8, rest.size() - 2);
        std::vector<std::uint8_t> bytes(rest.begin() + 2, rest.begin() + 2 + static_cast<long>(length));
        rest = rest.subspan(2 + length);
        bytes.resize(length + kvmon::kInputPadding);
        const int status = decoder->GetFrame(std::span(bytes).first(length), picture);
        if ((status == kvmon::kDecodeOk) == picture.IsEmpty()) {
            std::abort();
        }
        const kvmon::PictureView view = picture.View();
        // A unit may bring another size than was told.
        scaler.Draw(view, {0, 0, view.width, view.height}, cell.data(), 40 * 4, {0, 0, 40, 30});
    }
    return 0;
}
