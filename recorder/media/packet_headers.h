// What a file's packets say about themselves before they are decoded.
#pragma once

#include <cstdint>
#include <span>

#include "media/av_ptr.h"

namespace kvrecorder {

std::span<const std::uint8_t> BytesOf(const AVPacket& packet);

// The packet of MPEG-4 is a picture between two others.
bool IsBetween(const AVPacket& packet);

// Cameras leave out the standard Huffman tables in some AVI files; that is not a plain JPEG picture.
bool HasHuffmanTables(const AVPacket& packet);

// A key packet of H.264 or MPEG-4 gets the file's headers if it has none of its own, so that a decoder can
// begin with it. Any other packet stays as it is.
void InsertHeaders(const AVCodecParameters& parameters, AvPtr<AVPacket>& packet);

}  // namespace kvrecorder
