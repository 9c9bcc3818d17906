#include "skin/dialog_style.h"

#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <QtWidgets/QApplication>
#include <QtWidgets/QProxyStyle>
#include <QtWidgets/QStyleFactory>
#include <QtWidgets/QStyleOption>
#include <QtWidgets/QToolTip>

#include "skin/palette.h"

namespace kvmon {

namespace {

constexpr double kRadius = 3.5;

QPalette SkinPalette() {
    QPalette colours;
    const auto set = [&colours](QPalette::ColorRole role, QRgb normal, QRgb disabled) {
        colours.setColor(QPalette::Active, role, QColor(normal));
        colours.setColor(QPalette::Inactive, role, QColor(normal));
        colours.setColor(QPalette::Disabled, role, QColor(disabled));
    };
    set(QPalette::Window, palette::kPanel, palette::kPanel);
    set(QPalette::WindowText, palette::kInk, palette::kInkDisabled);
    set(QPalette::Base, palette::kField, palette::kSection);
    set(QPalette::AlternateBase, palette::kSection, palette::kSection);
    set(QPalette::Text, palette::kInk, palette::kInkDisabled);
    set(QPalette::PlaceholderText, palette::kInkFaint, palette::kInkDisabled);
    set(QPalette::Button, palette::kFace, palette::kFaceDisabled);
    set(QPalette::ButtonText, palette::kInk, palette::kInkDisabled);
    set(QPalette::BrightText, palette::kInkBright, palette::kInkFaint);
    set(QPalette::Highlight, palette::kFaceChecked, palette::kFaceDisabled);
    set(QPalette::HighlightedText, palette::kInkBright, palette::kInkFaint);
    set(QPalette::Link, palette::kAccent, palette::kInkDisabled);
    set(QPalette::LinkVisited, palette::kAccent, palette::kInkDisabled);
    set(QPalette::ToolTipBase, palette::kFace, palette::kFace);
    set(QPalette::ToolTipText, palette::kInkBright, palette::kInkBright);
    set(QPalette::Light, palette::kFaceHover, palette::kFace);
    set(QPalette::Midlight, palette::kFaceHover, palette::kFace);
    set(QPalette::Mid, palette::kEdge, palette::kEdgeDisabled);
    set(QPalette::Dark, palette::kShadow, palette::kShadow);
    set(QPalette::Shadow, palette::kShadow, palette::kShadow);
    return colours;
}

struct Plate {
    QRgb face, edge;
};

Plate PlateOf(QStyle::State state) {
    if (!state.testFlag(QStyle::State_Enabled)) {
        return {palette::kFaceDisabled, palette::kEdgeDisabled};
    }
    if (state.testFlag(QStyle::State_Sunken)) {
        return {palette::kFacePressed, palette::kAccent};
    }
    const bool hover = state.testFlag(QStyle::State_MouseOver);
    if (state.testFlag(QStyle::State_On)) {
        return {hover ? palette::kFaceCheckedHover : palette::kFaceChecked, palette::kAccent};
    }
    return hover ? Plate{palette::kFaceHover, palette::kEdgeHover} : Plate{palette::kFace, palette::kEdge};
}

bool ShowsFocus(QStyle::State state) {
    return state.testFlag(QStyle::State_HasFocus) && state.testFlag(QStyle::State_Enabled);
}

bool ShowsKeyboardFocus(QStyle::State state) {
    return ShowsFocus(state) && state.testFlag(QStyle::State_KeyboardFocusChange);
}

void DrawBox(QPainter& painter, const QRect& rect, QRgb fill, QRgb edge, double radius = kRadius) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(edge), 1));
    painter.setBrush(QColor(fill));
    painter.drawRoundedRect(QRectF(rect).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    painter.restore();
}

void DrawRing(QPainter& painter, const QRect& rect, double radius = kRadius) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(palette::kFocus), 1.5));
    painter.drawRoundedRect(QRectF(rect).adjusted(0.75, 0.75, -0.75, -0.75), radius, radius);
    painter.restore();
}

void DrawChevron(QPainter& painter, const QRect& box, bool up, const QColor& ink) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(ink, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    const QPointF centre = QRectF(box).center();
    const double wing = std::min(3.5, box.height() / 2.0 - 1);
    const double rise = up ? -wing / 2 : wing / 2;
    painter.drawPolyline(QPolygonF(
        {centre + QPointF(-wing, -rise), centre + QPointF(0, rise), centre + QPointF(wing, -rise)}));
    painter.restore();
}

QColor InkOf(const QStyleOption& option) {
    return option.palette.color(
        option.state.testFlag(QStyle::State_Enabled) ? QPalette::Active : QPalette::Disabled,
        QPalette::ButtonText);
}

class SkinStyle final : public QProxyStyle {
public:
    SkinStyle() : QProxyStyle(QStyleFactory::create("Fusion")) {}

    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override {
        switch (metric) {
            case PM_IndicatorWidth:
            case PM_IndicatorHeight:
            case PM_ExclusiveIndicatorWidth:
            case PM_ExclusiveIndicatorHeight:
                return 16;
            case PM_MenuPanelWidth:
                return 1;
            case PM_MenuVMargin:
                return 4;
            case PM_ButtonShiftHorizontal:
            case PM_ButtonShiftVertical:
                return metric == PM_ButtonShiftVertical ? 1 : 0;
            default:
                return QProxyStyle::pixelMetric(metric, option, widget);
        }
    }

    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* result) const override {
        switch (hint) {
            case SH_UnderlineShortcut:
                return 1;
            case SH_ComboBox_Popup:  // a list below the box, not a menu over it
                return 0;
            case SH_ToolTipLabel_Opacity:
                return 255;
            default:
                return QProxyStyle::styleHint(hint, option, widget, result);
        }
    }

    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                           const QWidget* widget) const override {
        QSize result = QProxyStyle::sizeFromContents(type, option, size, widget);
        switch (type) {
            case CT_PushButton:
                return result.expandedTo({84, 28});
            case CT_ComboBox:
            case CT_SpinBox:
            case CT_LineEdit:
                return result.expandedTo({0, 26});
            case CT_TabBarTab:
                return result + QSize(10, 4);
            case CT_ItemViewItem:
                return result.expandedTo({0, 22});
            default:
                return result;
        }
    }

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override {
        switch (element) {
            case PE_PanelButtonCommand:
                DrawPush(*option, *painter);
                break;
            case PE_PanelLineEdit:
                DrawField(*option, *painter);
                break;
            case PE_FrameLineEdit:
                break;
            case PE_IndicatorCheckBox:
                DrawCheck(*option, *painter);
                break;
            case PE_IndicatorRadioButton:
                DrawRadio(*option, *painter);
                break;
            case PE_FrameFocusRect:
                if (option->state.testFlag(State_KeyboardFocusChange)) {
                    DrawRing(*painter, option->rect, 2);
                }
                break;
            case PE_PanelTipLabel:
            case PE_FrameMenu:
                DrawBox(*painter, option->rect, palette::kFace, palette::kEdgeHover, 0);
                break;
            case PE_PanelMenu:
                painter->fillRect(option->rect, QColor(palette::kFace));
                break;
            default:
                QProxyStyle::drawPrimitive(element, option, painter, widget);
        }
    }

    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override {
        if (element == CE_TabBarTabShape) {
            DrawTab(*option, *painter);
        } else if (element == CE_ProgressBarGroove) {
            DrawBox(*painter, option->rect, palette::kField, palette::kEdge);
        } else if (element == CE_ProgressBarContents) {
            const auto* const bar = qstyleoption_cast<const QStyleOptionProgressBar*>(option);
            bar != nullptr && bar->maximum > bar->minimum
                ? DrawProgress(*bar, *painter)
                : QProxyStyle::drawControl(element, option, painter, widget);
        } else {
            QProxyStyle::drawControl(element, option, painter, widget);
        }
    }

    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                            const QWidget* widget) const override {
        if (control == CC_ComboBox) {
            DrawCombo(*option, *painter, widget);
        } else if (control == CC_SpinBox) {
            DrawSpin(*option, *painter, widget);
        } else {
            QProxyStyle::drawComplexControl(control, option, painter, widget);
        }
    }

private:
    static void DrawPush(const QStyleOption& option, QPainter& painter) {
        Plate plate = PlateOf(option.state);
        const auto* const button = qstyleoption_cast<const QStyleOptionButton*>(&option);
        const bool isDefault =
            button != nullptr && button->features.testFlag(QStyleOptionButton::DefaultButton);
        if (isDefault && option.state.testFlag(State_Enabled)) {
            plate.edge = palette::kAccent;
        }
        DrawBox(painter, option.rect, plate.face, plate.edge);
        if (ShowsKeyboardFocus(option.state)) {
            DrawRing(painter, option.rect);
        }
    }

    static void DrawField(const QStyleOption& option, QPainter& painter) {
        const auto* const frame = qstyleoption_cast<const QStyleOptionFrame*>(&option);
        if (frame != nullptr && frame->lineWidth == 0) {
            return;  // the inner part of a spin box
        }
        const bool enabled = option.state.testFlag(State_Enabled);
        DrawBox(painter, option.rect, enabled ? palette::kField : palette::kSection,
                ShowsFocus(option.state) ? palette::kAccent : palette::kEdge);
    }

    static void DrawCheck(const QStyleOption& option, QPainter& painter) {
        const QRect box = option.rect;
        const Plate plate = PlateOf(option.state);
        const bool bare = option.state.testFlag(State_Off) && option.state.testFlag(State_Enabled);
        DrawBox(painter, box, bare ? palette::kField : plate.face, plate.edge, 3);
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        const bool enabled = option.state.testFlag(State_Enabled);
        painter.setPen(QPen(QColor(enabled ? palette::kAccentBright : palette::kInkDisabled), 2,
                            Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.translate(box.topLeft());
        painter.scale(box.width() / 16.0, box.height() / 16.0);
        if (option.state.testFlag(State_On)) {
            painter.drawPolyline(QPolygonF({QPointF(4, 8.4), QPointF(6.9, 11.2), QPointF(12, 5)}));
        } else if (option.state.testFlag(State_NoChange)) {
            painter.drawLine(QPointF(4.5, 8), QPointF(11.5, 8));
        }
        painter.restore();
    }

    static void DrawRadio(const QStyleOption& option, QPainter& painter) {
        const QRect box = option.rect;
        const bool on = option.state.testFlag(State_On);
        const bool enabled = option.state.testFlag(State_Enabled);
        const Plate plate = PlateOf(option.state);
        DrawBox(painter, box, !on && enabled ? palette::kField : plate.face, plate.edge, box.width() / 2.0);
        if (!on) {
            return;
        }
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(enabled ? palette::kAccentBright : palette::kInkDisabled));
        painter.drawEllipse(QRectF(box).center(), 3.5, 3.5);
        painter.restore();
    }

    static void DrawTab(const QStyleOption& option, QPainter& painter) {
        const bool chosen = option.state.testFlag(State_Selected);
        const bool hover = option.state.testFlag(State_MouseOver);
        if (!chosen && hover) {
            painter.fillRect(option.rect.adjusted(0, 2, -2, -2), QColor(palette::kLight));
        }
        const QRect line(option.rect.left() + 4, option.rect.bottom() - 2, option.rect.width() - 10, 2);
        painter.fillRect(line, QColor(chosen ? palette::kAccent : palette::kEdgeDisabled));
    }

    static void DrawProgress(const QStyleOptionProgressBar& bar, QPainter& painter) {
        const double range = static_cast<double>(bar.maximum) - bar.minimum;
        const double share = std::clamp((bar.progress - bar.minimum) / range, 0.0, 1.0);
        QRect filled = bar.rect.adjusted(2, 2, -2, -2);
        filled.setWidth(static_cast<int>(filled.width() * share));
        if (bar.direction == Qt::RightToLeft) {
            filled.moveRight(bar.rect.right() - 2);
        }
        if (!filled.isEmpty()) {
            DrawBox(painter, filled, palette::kFaceCheckedHover, palette::kFaceCheckedHover, 2);
        }
    }

    void DrawCombo(const QStyleOptionComplex& option, QPainter& painter, const QWidget* widget) const {
        const Plate plate = PlateOf(option.state & ~State_On & ~State_Sunken);
        DrawBox(painter, option.rect, plate.face, plate.edge);
        const QRect arrow =
            proxy()->subControlRect(CC_ComboBox, &option, SC_ComboBoxArrow, widget).adjusted(0, 0, -3, 0);
        DrawChevron(painter, arrow, false, InkOf(option));
        if (ShowsKeyboardFocus(option.state)) {
            DrawRing(painter, option.rect);
        }
    }

    void DrawSpin(const QStyleOptionComplex& option, QPainter& painter, const QWidget* widget) const {
        const bool enabled = option.state.testFlag(State_Enabled);
        DrawBox(painter, option.rect, enabled ? palette::kField : palette::kSection,
                ShowsFocus(option.state) ? palette::kAccent : palette::kEdge);
        const auto* const spin = qstyleoption_cast<const QStyleOptionSpinBox*>(&option);
        for (const SubControl part : {SC_SpinBoxUp, SC_SpinBoxDown}) {
            const bool up = part == SC_SpinBoxUp;
            const QRect box = proxy()->subControlRect(CC_SpinBox, &option, part, widget);
            if (option.activeSubControls == part && option.state.testFlag(State_MouseOver)) {
                painter.fillRect(box.adjusted(1, up ? 1 : 0, -1, up ? 0 : -1), QColor(palette::kFaceHover));
            }
            const bool can = enabled && spin != nullptr &&
                             spin->stepEnabled.testFlag(up ? QAbstractSpinBox::StepUpEnabled
                                                           : QAbstractSpinBox::StepDownEnabled);
            DrawChevron(painter, box, up, QColor(can ? palette::kInk : palette::kInkDisabled));
        }
    }
};

}  // namespace

void ApplySkin(QApplication& app) {
    QApplication::setStyle(new SkinStyle);
    const QPalette colours = SkinPalette();
    QApplication::setPalette(colours);
    QToolTip::setPalette(colours);
    // Long bars and lists stay calm: no outlines but those of the style.
    app.setEffectEnabled(Qt::UI_AnimateCombo, false);
}

}  // namespace kvmon
