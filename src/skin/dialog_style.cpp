#include "skin/dialog_style.h"

#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QProxyStyle>
#include <QtWidgets/QStyleFactory>
#include <QtWidgets/QStyleOption>
#include <QtWidgets/QToolTip>
#include <algorithm>

#include "skin/palette.h"
#include "skin/style_parts.h"

namespace kvmon {

namespace {

using namespace style;

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
            case PM_ScrollBarExtent:
                return 12;
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
            case SH_DialogButtonBox_ButtonsHaveIcons:
                return 0;
            case SH_ComboBox_Popup:  // a list below the box, not a menu over it
                return 0;
            case SH_ComboBox_PopupFrameStyle:
                return QFrame::StyledPanel | QFrame::Plain;
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
            case CT_LineEdit:
                // The one in a spin box is as high as the box leaves it.
                if (widget != nullptr && qobject_cast<QAbstractSpinBox*>(widget->parent()) != nullptr) {
                    return result;
                }
                return result.expandedTo({0, 26});
            case CT_ComboBox:
            case CT_SpinBox:
                return {result.width(), 26};
            case CT_TabBarTab:
                return result + QSize(10, 4);
            case CT_HeaderSection:
                return result.expandedTo({0, 26});
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
            case PE_Frame:
                DrawFrame(*option, *painter);
                break;
            case PE_FrameTabWidget:
                DrawBox(*painter, option->rect, palette::kWindow, palette::kEdgeDisabled);
                break;
            case PE_FrameFocusRect:
                // A chosen row of a list shows by its colour.
                if (ShowsKeyboardFocus(option->state | State_HasFocus) &&
                    !option->state.testFlag(State_Selected)) {
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
        } else if (element == CE_HeaderSection || element == CE_HeaderEmptyArea) {
            DrawHeader(option->rect, element == CE_HeaderSection, *painter);
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
        } else if (control == CC_ScrollBar) {
            DrawScroll(*option, *painter);
        } else {
            QProxyStyle::drawComplexControl(control, option, painter, widget);
        }
    }

    QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                         const QWidget* widget) const override {
        const auto* const bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
        return control == CC_ScrollBar && bar != nullptr
                   ? ScrollPart(*bar, part)
                   : QProxyStyle::subControlRect(control, option, part, widget);
    }

    QIcon standardIcon(StandardPixmap icon, const QStyleOption* option,
                       const QWidget* widget) const override {
        switch (icon) {
            case SP_MessageBoxInformation:
                return MessageIcon(palette::kAccent, "i");
            case SP_MessageBoxQuestion:
                return MessageIcon(palette::kAccent, "?");
            case SP_MessageBoxWarning:
                return MessageIcon(palette::kFocus, "!");
            case SP_MessageBoxCritical:
                return MessageIcon(palette::kRecord, "\u00d7");
            default:
                return QProxyStyle::standardIcon(icon, option, widget);
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

    // Lists and tables: where the keyboard goes shows at the frame.
    static void DrawFrame(const QStyleOption& option, QPainter& painter) {
        painter.setPen(QColor(ShowsFocus(option.state) ? palette::kAccent : palette::kEdge));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(option.rect.adjusted(0, 0, -1, -1));
    }

    // A bar without arrows: all of it is groove.
    static QRect ScrollPart(const QStyleOptionSlider& bar, SubControl part) {
        const bool horizontal = bar.orientation == Qt::Horizontal;
        const int length = horizontal ? bar.rect.width() : bar.rect.height();
        const qint64 range = static_cast<qint64>(bar.maximum) - bar.minimum;
        constexpr int kSmallest = 24;
        int slider = length;
        if (range > 0) {
            slider = static_cast<int>(static_cast<qint64>(length) * bar.pageStep / (range + bar.pageStep));
            slider = std::clamp(slider, std::min(kSmallest, length), length);
        }
        const int start = sliderPositionFromValue(bar.minimum, bar.maximum, bar.sliderPosition,
                                                  length - slider, bar.upsideDown);
        const auto along = [&](int from, int size) {
            return horizontal ? QRect(bar.rect.x() + from, bar.rect.y(), size, bar.rect.height())
                              : QRect(bar.rect.x(), bar.rect.y() + from, bar.rect.width(), size);
        };
        switch (part) {
            case SC_ScrollBarSlider:
                return along(start, slider);
            case SC_ScrollBarSubPage:
                return along(0, start);
            case SC_ScrollBarAddPage:
                return along(start + slider, length - start - slider);
            case SC_ScrollBarGroove:
                return bar.rect;
            default:
                return {};
        }
    }

    static void DrawScroll(const QStyleOptionComplex& option, QPainter& painter) {
        painter.fillRect(option.rect, QColor(palette::kField));
        const auto* const bar = qstyleoption_cast<const QStyleOptionSlider*>(&option);
        if (bar == nullptr || bar->maximum <= bar->minimum) {
            return;
        }
        const QRect slider = ScrollPart(*bar, SC_ScrollBarSlider).adjusted(3, 3, -3, -3);
        const bool lit =
            option.activeSubControls == SC_ScrollBarSlider && option.state.testFlag(State_MouseOver);
        const QRgb face = lit ? palette::kEdgeHover : palette::kEdge;
        DrawBox(painter, slider, face, face, 3);
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

    // The titles of a table's columns.
    static void DrawHeader(const QRect& rect, bool bDivided, QPainter& painter) {
        painter.fillRect(rect, QColor(palette::kPanel));
        painter.setPen(QColor(palette::kEdge));
        painter.drawLine(rect.bottomLeft(), rect.bottomRight());
        if (bDivided) {
            painter.setPen(QColor(palette::kEdgeDisabled));
            painter.drawLine(rect.topRight() + QPoint(0, 5), rect.bottomRight() - QPoint(0, 5));
        }
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
    // Beside moving pictures, the dialogs keep still.
    app.setEffectEnabled(Qt::UI_AnimateCombo, false);
}

}  // namespace kvmon
