// A bar of lamps that shows how loud a sound is.
#pragma once

#include "skin/window_base.h"

namespace kvmon {

// Its range is 0 to 100; what lies beyond shows as the end. User interface thread only.
class LevelMeter final : public WindowBase {
public:
    explicit LevelMeter(QWidget* parent);

    void SetPos(int level);
    int GetPos() const { return m_level; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int m_level = 0;
};

}  // namespace kvmon
