#include "skin/ns_chart_ctrl.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QPainter>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "platform/diagnostics.h"
#include "platform/text.h"
#include "skin/skin_colours.h"

namespace kvmon {

namespace {

constexpr double kUnitsPerDegree = 16;  // of QPainter's pies
constexpr double kTop = 90;             // the first slice begins at twelve
constexpr double kGap = 2;              // pixels of ground between slices
constexpr int kMargin = 8;
constexpr int kLabelGap = 10;

QString Text(const std::string& text) {
    return QString::fromStdString(text);
}

QFont ChartFont() {
    // The application's further families hold the letters of the language.
    QFont font = QGuiApplication::font();
    font.setFamilies(QStringList(QStringLiteral("Arial")) + font.families());
    font.setPixelSize(13);
    return font;
}

}  // namespace

CNSChartCtrl::CNSChartCtrl(QWidget* parent)
    : WindowBase(parent),
      m_colors{&SkinColours::accent, &SkinColours::edgeHover, &SkinColours::focus, &SkinColours::record} {
    setObjectName(QStringLiteral("MFC_NSChartCtrl"));
    setMinimumSize(sizeHint());
}

bool CNSChartCtrl::SetData(double dValue1, const std::string& lpszLabel1, int nType) {
    return SetData(std::vector<ChartValue>{{dValue1, lpszLabel1}}, nType);
}

bool CNSChartCtrl::SetData(double dValue1, const std::string& lpszLabel1, double dValue2,
                           const std::string& lpszLabel2, int nType) {
    return SetData(std::vector<ChartValue>{{dValue1, lpszLabel1}, {dValue2, lpszLabel2}}, nType);
}

bool CNSChartCtrl::SetData(std::vector<ChartValue> values, int nType) {
    const bool bGood = std::all_of(values.begin(), values.end(), [](const ChartValue& value) {
        return std::isfinite(value.dValue) && value.dValue > 0;
    });
    if (!bGood) {
        std::string text = "CNSChartCtrl::SetData: The double value must be > 0 (";
        for (std::size_t i = 0; i < values.size(); ++i) {
            text +=
                FormatText("%sdValue%d=%f", i == 0 ? "" : ", ", static_cast<int>(i + 1), values[i].dValue);
        }
        Diagnose("%s)\n", text.c_str());
        return false;
    }
    m_values = std::move(values);
    m_nType = nType;
    QStringList parts;
    for (std::size_t i = 0; i < m_values.size(); ++i) {
        parts << Text(SliceLabel(i)).replace('\n', ' ');
    }
    setAccessibleName(parts.join(QStringLiteral(", ")));
    update();
    return true;
}

void CNSChartCtrl::Clear() {
    m_values.clear();
    setAccessibleName({});
    update();
}

void CNSChartCtrl::SetColors(std::vector<ColourRole> colors) {
    m_colors = std::move(colors);
    update();
}

double CNSChartCtrl::Sum() const {
    double sum = 0;
    for (const ChartValue& value : m_values) {
        sum += value.dValue;
    }
    return sum;
}

std::string CNSChartCtrl::SliceLabel(std::size_t index) const {
    const ChartValue& value = m_values.at(index);
    return FormatText("%s\n%.1f%%", value.label.c_str(), value.dValue / Sum() * 100);
}

void CNSChartCtrl::paintEvent(QPaintEvent*) {
    if (m_values.empty()) {
        Diagnose("Values count must be > 0\n");
        return;
    }
    if (m_colors.empty()) {
        Diagnose("Color count mus be > 1");
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(ChartFont());
    m_nType == kChartBars ? PaintBars(painter) : PaintPie(painter);
}

// The pie in the middle, each label beside its slice on the side that the slice looks to.
void CNSChartCtrl::PaintPie(QPainter& painter) const {
    const QFontMetrics metrics(painter.font());
    int labelWidth = 0;
    for (std::size_t i = 0; i < m_values.size(); ++i) {
        labelWidth =
            std::max(labelWidth,
                     metrics.boundingRect(QRect(0, 0, 400, 100), Qt::AlignLeft, Text(SliceLabel(i))).width());
    }
    labelWidth = std::min(labelWidth, width() / 3);
    const int diameter =
        std::max(std::min(height() - 2 * kMargin, width() - 2 * (labelWidth + kLabelGap + kMargin)), 20);
    const QPointF centre(width() / 2.0, height() / 2.0);
    const QRectF pie(centre.x() - diameter / 2.0, centre.y() - diameter / 2.0, diameter, diameter);
    const double sum = Sum();
    double from = kTop;
    for (std::size_t i = 0; i < m_values.size(); ++i) {
        const double span = m_values[i].dValue / sum * 360;
        painter.setBrush(ColorOf(i));
        painter.setPen(m_values.size() > 1 ? QPen(QColor(ColoursOf(*this).window), kGap) : QPen(Qt::NoPen));
        if (m_values.size() == 1) {
            painter.drawEllipse(pie);
        } else {
            painter.drawPie(pie, qRound(from * kUnitsPerDegree), -qRound(span * kUnitsPerDegree));
        }
        const double middle = m_values.size() > 1 ? (from - span / 2) * std::numbers::pi / 180 : 0;
        const bool bRight = std::cos(middle) >= 0;
        const double y = centre.y() - std::sin(middle) * diameter / 2;
        const int lineHeight = 2 * metrics.lineSpacing();
        const double top = std::clamp(y - lineHeight / 2.0, 0.0, static_cast<double>(height() - lineHeight));
        const double x = bRight ? pie.right() + kLabelGap : pie.left() - kLabelGap - labelWidth;
        painter.setPen(QColor(ColoursOf(*this).inkBright));
        painter.drawText(QRectF(x, top, labelWidth, lineHeight),
                         (bRight ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter, Text(SliceLabel(i)));
        from -= span;
    }
}

// A column a value, its number above and its label below.
void CNSChartCtrl::PaintBars(QPainter& painter) const {
    const QFontMetrics metrics(painter.font());
    const int line = metrics.lineSpacing();
    double most = 0;
    for (const ChartValue& value : m_values) {
        most = std::max(most, value.dValue);
    }
    const double column = static_cast<double>(width()) / static_cast<double>(m_values.size());
    const double room = std::max(height() - 2 * line - 2 * kMargin, 1);
    for (std::size_t i = 0; i < m_values.size(); ++i) {
        const double tall = m_values[i].dValue / most * room;
        const double left = column * static_cast<double>(i);
        const QRectF bar(left + column / 4, height() - line - kMargin - tall, column / 2, tall);
        painter.fillRect(bar, ColorOf(i));
        painter.setPen(QColor(ColoursOf(*this).inkBright));
        const bool bWhole = m_values[i].dValue == std::floor(m_values[i].dValue);
        const std::string number = FormatText(bWhole ? "%.0f" : "%.1f", m_values[i].dValue);
        painter.drawText(QRectF(left, bar.top() - line - 2, column, line), Qt::AlignCenter, Text(number));
        painter.drawText(
            QRectF(left, height() - line, column, line), Qt::AlignCenter,
            metrics.elidedText(Text(m_values[i].label), Qt::ElideRight, static_cast<int>(column)));
    }
}

}  // namespace kvmon
