// The rows from which a skin dialog makes its controls.
#pragma once

#include <cstdint>

namespace kvmon {

inline constexpr std::uint32_t WS_CHILD = 0x40000000;
inline constexpr std::uint32_t WS_VISIBLE = 0x10000000;

enum class SkinControlKind : std::uint8_t { kStatic = 0, kButton = 1 };

struct SkinControlRow {
    const char* windowClass;  // "Button" or "Static"
    const char* title;
    std::uint32_t style;  // of the flags above, WS_VISIBLE counts
    int x, y, width, height;
    int id;
    SkinControlKind kind;
    int mode;               // see ButtonMode
    std::uint32_t tooltip;  // number of the tool tip's text, 0 for none
};

}  // namespace kvmon
