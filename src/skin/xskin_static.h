// A line of text on the skin.
#pragma once

#include "skin/skin_colours.h"
#include "skin/window_base.h"

namespace kvmon {

// Bold, as high as half the control's height in points, cut with an ellipsis; the whole text is then the
// tool tip.
class CXSkinStatic : public WindowBase {
public:
    CXSkinStatic(int id, QWidget* parent);

    const std::string& GetWindowText() const { return m_text; }
    // UTF-8, shown as it is.
    void SetWindowText(std::string text);
    void SetTextColor(ColourRole colour);
    void SetCentred(bool bCentred);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void FitFont();
    void UpdateTip();

    std::string m_text;
    ColourRole m_colour;
    bool m_centred = false;
};

// The pixel height of a font that fits a control of this height: half of it, taken as points.
int FittingFontHeight(int controlHeight, int pixelsPerInch);

}  // namespace kvmon
