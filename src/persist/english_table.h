// The built-in English texts. Inside this folder only.
#pragma once

#include <cstdint>
#include <span>

namespace kvmon {

struct TableText {
    std::uint32_t id;
    const char* text;
};

// Ascending by number.
std::span<const TableText> EnglishTable();

}  // namespace kvmon
