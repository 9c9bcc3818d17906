// A file that gets another text, whole or not at all.
#pragma once

#include <string>
#include <string_view>

namespace kvrecorder {

// Writes beside it and puts that in its place, with the same owner and mode; a link stays one. Throws
// std::runtime_error with the reason in words; the file is then as it was. One that nobody may write stays.
void WriteChangedFile(const std::string& path, std::string_view text);

}  // namespace kvrecorder
