// The nine ways to divide the view.
#pragma once

#include <cstdint>

namespace kvmon {

enum ViewStyle : int {
    VIEW_STYLE_SINGLE_1CH = 0,
    VIEW_STYLE_PIP = 1,
    VIEW_STYLE_4CH = 2,
    VIEW_STYLE_6CH = 3,
    VIEW_STYLE_8CH = 4,
    VIEW_STYLE_9CH = 5,
    VIEW_STYLE_10CH = 6,
    VIEW_STYLE_12CH = 7,
    VIEW_STYLE_CUSTOM = 8,
};
inline constexpr int kViewStyleCount = 9;

// The control that selects a style, kCtlFirstStyle to kCtlLastStyle.
constexpr int StyleButtonId(ViewStyle style) {
    return 1651 + style;
}

// A number out of range selects ten channels.
constexpr ViewStyle CheckedViewStyle(int style) {
    return style < 0 || style >= kViewStyleCount ? VIEW_STYLE_10CH : static_cast<ViewStyle>(style);
}

// The style shows pages of a channel order.
constexpr bool IsPageStyle(ViewStyle style) {
    return style >= VIEW_STYLE_4CH;
}

inline constexpr int kMaxPageSize = 42;       // windows of one display; the largest page
inline constexpr int kMaxPipChildren = 3;     // small windows of picture-in-picture
inline constexpr int kManyCameras = 8;        // from here on the larger styles are offered
inline constexpr int kCameraWarnCount = 128;  // showable cameras from which the console warns

}  // namespace kvmon
