// A small chart of a few labelled values.
#pragma once

#include <QtGui/QColor>
#include <string>
#include <vector>

#include "skin/skin_colours.h"
#include "skin/window_base.h"

namespace kvmon {

// Kinds of chart.
inline constexpr int kChartPie = 0;
inline constexpr int kChartBars = 1;

struct ChartValue {
    double dValue = 0;
    std::string label;  // UTF-8, shown as it is
};

// User interface thread only.
class CNSChartCtrl : public WindowBase {
public:
    explicit CNSChartCtrl(QWidget* parent = nullptr);

    // False, with the chart as it was, if a value is not above 0.
    bool SetData(double dValue1, const std::string& lpszLabel1, int nType);
    bool SetData(double dValue1, const std::string& lpszLabel1, double dValue2, const std::string& lpszLabel2,
                 int nType);
    bool SetData(std::vector<ChartValue> values, int nType);
    void Clear();
    // One colour a value, from the beginning again when they run out.
    void SetColors(std::vector<ColourRole> colors);

    // Label and percentage of a slice: "%s\n%.1f%%".
    std::string SliceLabel(std::size_t index) const;

    QSize sizeHint() const override { return {280, 190}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor ColorOf(std::size_t index) const {
        return QColor(ColoursOf(*this).*m_colors[index % m_colors.size()]);
    }
    double Sum() const;
    void PaintPie(QPainter& painter) const;
    void PaintBars(QPainter& painter) const;

    std::vector<ChartValue> m_values;
    std::vector<ColourRole> m_colors;
    int m_nType = kChartPie;
};

}  // namespace kvmon
