// Films in files, which every program of a comparison plays.
#pragma once

#include <string>
#include <vector>

#include "content/coded_pictures.h"

namespace kvbench {

inline constexpr int kPicturesPerSecond = 25;

// The same two seconds over and over, for as many seconds as are told, in a Matroska file. Throws
// std::runtime_error.
void WriteFilm(const std::string& file, kvtest::Coding coding, int width, int height,
               const std::vector<kvtest::CodedUnit>& film, int seconds);

}  // namespace kvbench
