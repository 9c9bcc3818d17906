// A spin box whose buttons stay in a range, while any number can be typed.
#pragma once

#include <QtWidgets/QSpinBox>
#include <algorithm>

namespace kvmon {

// The dialog checks what was typed, so that it can say what is wrong.
class RangeSpinBox final : public QSpinBox {
public:
    RangeSpinBox(int low, int high, QWidget* parent) : QSpinBox(parent), low_(low), high_(high) {
        setRange(0, 999999);
    }

    int Low() const { return low_; }
    int High() const { return high_; }
    bool IsInRange() const { return value() >= low_ && value() <= high_; }
    void stepBy(int steps) override { setValue(std::clamp(value() + steps, low_, high_)); }

private:
    const int low_, high_;
};

}  // namespace kvmon
