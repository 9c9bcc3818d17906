// The tables that JPEG pictures of cameras lack, as they are the usual ones.
#pragma once

#include <cstdint>
#include <vector>

namespace kvrecorder {

// Cameras of computers leave out the Huffman tables, as they are always the same ones; a decoder for files
// wants them.
void AddHuffmanTables(std::vector<std::uint8_t>& picture);
// Those of a quality from 1 to 100, for brightness and colours, as they stand in a picture.
std::vector<std::uint8_t> QuantizationTables(int quality);

}  // namespace kvrecorder
