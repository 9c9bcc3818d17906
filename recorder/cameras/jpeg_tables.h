// What the JPEG pictures of small cameras lack.
#pragma once

#include <cstdint>
#include <vector>

namespace kvrecorder {

// Cameras of computers leave out the Huffman tables, as they are always the same ones; a decoder for files
// wants them.
void AddHuffmanTables(std::vector<std::uint8_t>& picture);

}  // namespace kvrecorder
