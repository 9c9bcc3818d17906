// What a camera sends by HTTP: parts with pictures, in chunks of any size.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

#include "cameras/camera_error.h"
#include "cameras/multipart_reader.h"

using namespace kvrecorder;

// The reply's type up to the end of the first line, a byte for the size of the chunks, then the body.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto* const end = std::find(data, data + size, std::uint8_t{'\n'});
    const std::string type(data, end);
    MediaTypeOf(type);
    std::span<const std::uint8_t> body(end, data + size);
    if (body.size() < 2) {
        return 0;
    }
    const std::size_t step = body[1] + 1U;
    body = body.subspan(2);
    const std::size_t all = body.size();
    MultipartReader reader(BoundaryOf(type));
    std::size_t given = 0;
    try {
        while (!body.empty()) {
            const std::size_t chunk = std::min(step, body.size());
            reader.Add(body.first(chunk));
            body = body.subspan(chunk);
            while (const auto part = reader.Next()) {
                given += part->body.size();
            }
        }
    } catch (const CameraError&) {
        // no answer of a camera
    }
    if (given > all) {
        std::abort();
    }
    return 0;
}
