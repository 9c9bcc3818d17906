// A picture on its way to a file.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "codec/picture.h"

namespace kvmon {

// A bottom-up bitmap of 24 or 32 bits of its own.
struct Snapshot {
    BITMAPINFOHEADER info;
    std::vector<std::uint8_t> bits;
};

inline constexpr std::uint32_t kBitmapFileHead = 54;

// The bitmap as a BMP file.
std::vector<std::uint8_t> MakeBitmapFile(const BITMAPINFOHEADER& info, std::span<const std::uint8_t> bits);

// Writes the text in yellow on a darkened plate into the upper left corner.
void AddStringOnBitmapImage(Snapshot& snapshot, const std::string& text);

// The folder of the path exists, or was made now.
bool MakeSnapshotFolder(const std::string& path);

// Writes a JPEG file of quality 100, or a BMP file. It appears under its name only when it is whole. Any
// thread; takes the disk's time.
bool WriteSnapshot(const Snapshot& snapshot, const std::string& path, bool bJpeg);

}  // namespace kvmon
