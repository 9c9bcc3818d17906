// The animated picture that says: something is under way.
#pragma once

#include "skin/window_base.h"

namespace kvmon {

// Turns while it is visible and started. User interface thread only.
class CPictureEx : public WindowBase {
public:
    explicit CPictureEx(QWidget* parent = nullptr);

    void Draw();
    void Stop();

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void OnTimer(std::uint32_t id) override;

private:
    void UpdateTimer();

    bool m_playing = false;
    int m_angle = 0;
};

}  // namespace kvmon
