#include "app/window_place.h"

#include <algorithm>

#include "persist/orvo_registry.h"

namespace kvmon {

namespace {

constexpr const char* kWindowSection = "Window";
constexpr int kFarthest = 100000;
constexpr int kHandleWidth = 100;  // of the window's head, enough to take hold of
constexpr int kHandleHeight = 30;

int ReadNumber(const char* entry) {
    return static_cast<int>(Registry().GetProfileInt(kWindowSection, entry, 0));
}

// Of a rectangle's numbers, before they become one: at the edge of their range it overflows.
bool IsPlace(const QPoint& corner, const QSize& size) {
    const auto isNear = [](int number) { return number >= -kFarthest && number <= kFarthest; };
    return isNear(corner.x()) && isNear(corner.y()) && isNear(size.width()) && isNear(size.height()) &&
           !size.isEmpty();
}

}  // namespace

std::optional<WindowPlace> LoadWindowPlace() {
    const QPoint corner(ReadNumber("Left"), ReadNumber("Top"));
    const QSize size(ReadNumber("Width"), ReadNumber("Height"));
    if (!IsPlace(corner, size)) {
        return std::nullopt;
    }
    return WindowPlace{QRect(corner, size), ReadNumber("Maximised") != 0};
}

void SaveWindowPlace(const WindowPlace& place) {
    COrvoRegistry& registry = Registry();
    const COrvoRegistry::Batch together(registry);
    const auto write = [&registry](const char* entry, int number) {
        registry.WriteProfileInt(kWindowSection, entry, static_cast<std::uint32_t>(number));
    };
    write("Left", place.rect.x());
    write("Top", place.rect.y());
    write("Width", place.rect.width());
    write("Height", place.rect.height());
    write("Maximised", place.bMaximised ? 1 : 0);
}

std::optional<QRect> FitToDisplays(const QRect& rect, const QList<QRect>& displays, const QSize& smallest) {
    const QRect head(rect.topLeft(), QSize(rect.width(), std::min(rect.height(), kHandleHeight)));
    const auto held = [&head](const QRect& display) {
        const QRect common = display & head;
        return common.width() >= kHandleWidth && common.height() > 0 ? common.width() * common.height() : 0;
    };
    const auto best = std::max_element(displays.begin(), displays.end(),
                                       [&](const QRect& a, const QRect& b) { return held(a) < held(b); });
    if (best == displays.end() || held(*best) == 0) {
        return std::nullopt;
    }
    QRect fitted(rect.topLeft(), rect.size().boundedTo(best->size()).expandedTo(smallest));
    fitted.moveLeft(std::max(best->left(), std::min(fitted.left(), best->right() + 1 - fitted.width())));
    fitted.moveTop(std::max(best->top(), std::min(fitted.top(), best->bottom() + 1 - fitted.height())));
    return fitted;
}

}  // namespace kvmon
