// A number to enter, whose buttons keep to a range that typing may leave.
#pragma once

#include <QtWidgets/QSpinBox>
#include <algorithm>

namespace kvmon {

// What was typed is checked by the dialog, which can then say what is wrong with it.
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
