// Windows of the program that others' windows hide.
#pragma once

#include <QtCore/QAbstractNativeEventFilter>

namespace kvmon {

// Marks each window of its own (kCoveredWindow) for as long as nothing of it can be seen, where the desktop
// tells: on X11 without a compositor. With one, and on Wayland, no window counts as covered. For the
// application's life; user interface thread.
class CoverWatch final : public QAbstractNativeEventFilter {
public:
    CoverWatch();
    ~CoverWatch() override;
    CoverWatch(const CoverWatch&) = delete;
    CoverWatch& operator=(const CoverWatch&) = delete;

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

private:
    bool m_bWatches = false;
};

}  // namespace kvmon
