// Stream records as a recorder sends them.
#pragma once

#include <cstdint>
#include <vector>

#include "content/coded_pictures.h"

namespace kvbench {

struct StreamKind {
    const char* name;
    kvtest::Coding coding;
    int width;
    int height;
    int bitrate;
};

// One record: head and payload for a coded stream, the bare picture for MJPEG.
struct Record {
    std::vector<std::uint8_t> bytes;
    std::size_t headSize = 0;
    bool jpeg = false;
};

inline constexpr int kKeyInterval = 25;

std::vector<Record> MakeRecords(const StreamKind& kind, int count);

// The records' bytes on the wire, heads included for MJPEG too.
std::vector<std::uint8_t> WireBytes(const StreamKind& kind, const std::vector<Record>& records);

}  // namespace kvbench
