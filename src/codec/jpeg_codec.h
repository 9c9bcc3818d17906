// JPEG pictures to and from memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "codec/picture.h"

namespace kvmon {

// A failure's text as the trace and the user see it; null for success.
using JpegError = const char*;

// Whether the bytes begin like a JPEG file.
bool IsJpeg(std::span<const std::uint8_t> data);

// Reads the head only. Size is that of the bitmap that DecodeJpeg would make.
bool GetJpegInfo(std::span<const std::uint8_t> data, int* pWidth, int* pHeight, std::uint32_t* pSize);

// Decodes to a bottom-up bitmap of 8 x channels bits (grey and colour files give 24, four-component
// files 32) and fills the header. Allocates nothing beside the library's own work memory.
JpegError DecodeJpeg(std::span<const std::uint8_t> data, std::span<std::uint8_t> destination,
                     BITMAPINFOHEADER* pBmpInfo);

// Decodes to the file's own planes, top-down, in `storage` (which grows and is kept), for a consumer
// that scales by itself. An empty view if the file has no planes that PixelLayout names or is damaged
// beyond use; DecodeJpeg is then the way.
PictureView DecodeJpegPlanes(std::span<const std::uint8_t> data, std::vector<std::uint8_t>& storage);

// Writes a bottom-up bitmap of 16, 24 or 32 bits as JPEG, `quality` 1 to 100. The file appears under
// its name only when it is whole.
JpegError SaveJpegFile(const std::string& path, const BITMAPINFOHEADER& info,
                       std::span<const std::uint8_t> bits, int quality, bool bColor);
JpegError SaveJpegMemory(std::vector<std::uint8_t>& out, const BITMAPINFOHEADER& info,
                         std::span<const std::uint8_t> bits, int quality, bool bColor);

}  // namespace kvmon
