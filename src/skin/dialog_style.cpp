#include "skin/dialog_style.h"

#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QProxyStyle>
#include <QtWidgets/QStyleFactory>
#include <QtWidgets/QStyleOption>
#include <QtWidgets/QToolTip>
#include <algorithm>

#include "skin/skin_colours.h"
#include "skin/style_controls.h"
#include "skin/style_parts.h"

namespace kvmon {

namespace {

using namespace style;

QPalette SkinPalette(const SkinColours& colours) {
    QPalette palette;
    const auto set = [&palette](QPalette::ColorRole role, QRgb normal, QRgb disabled) {
        palette.setColor(QPalette::Active, role, QColor(normal));
        palette.setColor(QPalette::Inactive, role, QColor(normal));
        palette.setColor(QPalette::Disabled, role, QColor(disabled));
    };
    set(QPalette::Window, colours.panel, colours.panel);
    set(QPalette::WindowText, colours.ink, colours.inkDisabled);
    set(QPalette::Base, colours.field, colours.section);
    set(QPalette::AlternateBase, colours.section, colours.section);
    set(QPalette::Text, colours.ink, colours.inkDisabled);
    set(QPalette::PlaceholderText, colours.inkFaint, colours.inkDisabled);
    set(QPalette::Button, colours.face, colours.faceDisabled);
    set(QPalette::ButtonText, colours.ink, colours.inkDisabled);
    set(QPalette::BrightText, colours.inkBright, colours.inkFaint);
    set(QPalette::Highlight, colours.faceChecked, colours.faceDisabled);
    set(QPalette::HighlightedText, colours.inkBright, colours.inkFaint);
    set(QPalette::Link, colours.accent, colours.inkDisabled);
    set(kFaultText, colours.record, colours.inkDisabled);
    set(QPalette::ToolTipBase, colours.panel, colours.panel);
    set(QPalette::ToolTipText, colours.inkBright, colours.inkBright);
    set(QPalette::Light, colours.faceHover, colours.face);
    set(QPalette::Midlight, colours.faceHover, colours.face);
    set(QPalette::Mid, colours.edge, colours.edgeDisabled);
    set(QPalette::Dark, colours.shadow, colours.shadow);
    set(QPalette::Shadow, colours.well, colours.well);
    return palette;
}

class SkinStyle final : public QProxyStyle {
public:
    explicit SkinStyle(SkinLook look)
        : QProxyStyle(QStyleFactory::create("Fusion")), m_look(look), m_colours(ColoursOf(look)) {}

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
        if (hint == kLookHint) {
            return static_cast<int>(m_look);
        }
        switch (hint) {
            case SH_UnderlineShortcut:
                return 1;
            case SH_DialogButtonBox_ButtonsHaveIcons:
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
                DrawPush(*option, *painter, m_colours);
                break;
            case PE_PanelLineEdit:
                DrawField(*option, *painter, m_colours);
                break;
            case PE_FrameLineEdit:
                break;
            case PE_IndicatorCheckBox:
                DrawCheck(*option, *painter, m_colours);
                break;
            case PE_IndicatorRadioButton:
                DrawRadio(*option, *painter, m_colours);
                break;
            case PE_Frame:
                DrawFrame(*option, *painter, m_colours);
                break;
            case PE_FrameGroupBox: {
                // Below the title, as the base style places the contents.
                const int title = std::max(16, option->fontMetrics.height()) + 3;
                DrawBox(*painter, option->rect.adjusted(0, title, 0, 0), m_colours.window, m_colours.line);
                break;
            }
            case PE_FrameTabWidget:
                DrawBox(*painter, option->rect, m_colours.window, m_colours.line);
                break;
            case PE_FrameFocusRect:
                // A chosen row of a list shows by its colour.
                if (ShowsKeyboardFocus(option->state | State_HasFocus) &&
                    !option->state.testFlag(State_Selected)) {
                    DrawRing(*painter, option->rect, m_colours, 2);
                }
                break;
            case PE_PanelTipLabel:
            case PE_FrameMenu:
                DrawBox(*painter, option->rect, m_colours.panel, m_colours.edge, 0);
                break;
            case PE_PanelMenu:
                painter->fillRect(option->rect, QColor(m_colours.panel));
                break;
            default:
                QProxyStyle::drawPrimitive(element, option, painter, widget);
        }
    }

    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override {
        const auto* const entry = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
        if (element == CE_MenuItem && entry != nullptr && entry->text.isEmpty() &&
            entry->menuItemType == QStyleOptionMenuItem::Separator) {
            painter->fillRect(
                QRect(option->rect.left() + 6, option->rect.center().y(), option->rect.width() - 12, 1),
                QColor(m_colours.line));
        } else if (element == CE_TabBarTabShape) {
            DrawTab(*option, *painter, m_colours);
        } else if (element == CE_HeaderSection || element == CE_HeaderEmptyArea) {
            DrawHeader(option->rect, element == CE_HeaderSection ? HeaderPart::Title : HeaderPart::Empty,
                       *painter, m_colours);
        } else if (element == CE_ProgressBarGroove) {
            DrawBox(*painter, option->rect, m_colours.field, m_colours.edge);
        } else if (element == CE_ProgressBarContents) {
            const auto* const bar = qstyleoption_cast<const QStyleOptionProgressBar*>(option);
            bar != nullptr && bar->maximum > bar->minimum
                ? DrawProgress(*bar, *painter, m_colours)
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
            DrawScroll(*option, *painter, m_colours);
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
                return MessageIcon(m_colours.accent, "i");
            case SP_MessageBoxQuestion:
                return MessageIcon(m_colours.accent, "?");
            case SP_MessageBoxWarning:
                return MessageIcon(m_colours.focus, "!");
            case SP_MessageBoxCritical:
                return MessageIcon(m_colours.record, "\u00d7");
            default:
                return QProxyStyle::standardIcon(icon, option, widget);
        }
    }

private:
    void DrawCombo(const QStyleOptionComplex& option, QPainter& painter, const QWidget* widget) const {
        const Plate plate = PlateOf(option.state & ~State_On & ~State_Sunken, m_colours);
        DrawBox(painter, option.rect, plate.face, plate.edge);
        const QRect arrow =
            proxy()->subControlRect(CC_ComboBox, &option, SC_ComboBoxArrow, widget).adjusted(0, 0, -3, 0);
        DrawChevron(painter, arrow, Tip::Down, InkOf(option, m_colours));
        if (ShowsKeyboardFocus(option.state)) {
            DrawRing(painter, option.rect, m_colours);
        }
    }

    void DrawSpin(const QStyleOptionComplex& option, QPainter& painter, const QWidget* widget) const {
        const bool enabled = option.state.testFlag(State_Enabled);
        DrawBox(painter, option.rect, enabled ? m_colours.field : m_colours.section,
                ShowsFocus(option.state) ? m_colours.accent : m_colours.edge);
        const auto* const spin = qstyleoption_cast<const QStyleOptionSpinBox*>(&option);
        for (const SubControl part : {SC_SpinBoxUp, SC_SpinBoxDown}) {
            const bool up = part == SC_SpinBoxUp;
            const QRect box = proxy()->subControlRect(CC_SpinBox, &option, part, widget);
            if (option.activeSubControls == part && option.state.testFlag(State_MouseOver)) {
                painter.fillRect(box.adjusted(1, up ? 1 : 0, -1, up ? 0 : -1), QColor(m_colours.faceHover));
            }
            const bool can = enabled && spin != nullptr &&
                             spin->stepEnabled.testFlag(up ? QAbstractSpinBox::StepUpEnabled
                                                           : QAbstractSpinBox::StepDownEnabled);
            DrawChevron(painter, box, up ? Tip::Up : Tip::Down,
                        QColor(can ? m_colours.ink : m_colours.inkDisabled));
        }
    }

    const SkinLook m_look;
    const SkinColours& m_colours;
};

}  // namespace

void ApplySkin(QApplication& app, SkinLook look) {
    const QPalette colours = SkinPalette(ColoursOf(look));
    // The style alone tells the widgets; they must find the palette when it does.
    QApplication::setPalette(colours);
    QToolTip::setPalette(colours);
    QApplication::setStyle(new SkinStyle(look));
    // Beside moving pictures, the dialogs keep still.
    app.setEffectEnabled(Qt::UI_AnimateCombo, false);
}

}  // namespace kvmon
