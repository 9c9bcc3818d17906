// A picture on its way to a file.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "codec/picture.h"

namespace kvmon {

// A bottom-up bitmap of 24 or 32 bits of its own.
struct Snapshot {
    BITMAPINFOHEADER info;
    std::vector<std::uint8_t> bits;
    // Where the whole picture is, of which this is a smaller one, and what is to be written on it. Null: this
    // is all.
    std::shared_ptr<WholePicture> whole{};
    std::string stamp{};
};

// A bottom-up bitmap of 24 bits of the view.
Snapshot MakeSnapshot(const PictureView& view);
// Puts the whole picture in the place of the smaller one, which stays if that cannot be had. Any thread,
// which waits for the device.
void CompleteSnapshot(Snapshot& snapshot);

inline constexpr std::uint32_t kBitmapFileHead = 54;

// The bitmap as a BMP file.
std::vector<std::uint8_t> MakeBitmapFile(const BITMAPINFOHEADER& info, std::span<const std::uint8_t> bits);

// Writes the text in yellow on a darkened plate into the upper left corner.
void AddStringOnBitmapImage(Snapshot& snapshot, const std::string& text);

// Where a snapshot has failed, by the first number of what the user is told.
enum class SnapshotStep {
    None = 0,
    Folder = 1,   // it cannot be made
    Picture = 2,  // there is none
    Coding = 3,
    File = 4,   // it cannot be written
    Queue = 5,  // too many are being written
};
enum class SnapshotFormat { Bmp, Jpeg };

// True if it failed.
struct SnapshotFailure {
    SnapshotStep step = SnapshotStep::None;
    int nError = 0;  // the system's number, where it has one
    explicit operator bool() const { return step != SnapshotStep::None; }
};

// Writes a JPEG file of quality 100, or a BMP file, and makes the folder if need be. The file appears under
// its name only when it is whole, and its date is that of the picture. Any thread; takes the disk's time.
SnapshotFailure WriteSnapshot(const Snapshot& snapshot, const std::string& path, SnapshotFormat format,
                              std::chrono::system_clock::time_point taken);

}  // namespace kvmon
