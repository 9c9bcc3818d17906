// A dialog whose controls are all made at run time from a table, on a drawn ground.
#pragma once

#include <QtCore/QPointer>
#include <QtGui/QPixmap>
#include <functional>
#include <span>
#include <vector>

#include "skin/skin_messages.h"
#include "skin/skin_table.h"
#include "skin/window_base.h"

namespace kvmon {

class CXSkinODButton;

// Codes of OnSkinODButtonNotify.
inline constexpr int kClicked = 0;

// User interface thread only.
class CXSkinDialog : public WindowBase {
public:
    // Gives the text of a number.
    using TextSource = std::string (*)(std::uint32_t id);
    // Draws the ground for a dialog of this size, in logical pixels.
    using Ground = std::function<void(QPainter& painter, QSize size)>;
    // Where a control stands in a dialog of this size that the table puts at the rectangle.
    using Placement = std::function<QRect(const QRect& table, QSize size)>;

    explicit CXSkinDialog(QWidget* parent = nullptr);

    // The console's ground and placement are the start values; kept for other dialogs of this kind.
    void SetBackground(Ground ground, Placement placement);
    // Makes the controls in the table's order, which is the order of the Tab key, too. An identifier that is
    // there already is passed over.
    void CreateControls(std::span<const SkinControlRow> table, TextSource texts);
    // Takes a control that was made apart, at its place for the smallest size.
    void AddControl(int id, QWidget* control, const QRect& table);

    // The Tab key goes by rows from the top, not by tables.
    void OrderTabsByPlace();

    // The control of the table or one taken, else any child with the identifier, or null with a line in the
    // trace.
    QWidget* GetDlgItem(int id) const;
    // The same when it is a skin button, else null.
    CXSkinODButton* GetButton(int id) const;

    // A button was clicked. Returns 0 when that is the end of it; else WM_COMMAND follows, as after the
    // base's answer, 1.
    virtual int OnSkinODButtonNotify(int nId, int nCode, LParam lParam);
    // The tool tip of a button is about to show. The text is that of the table and may be changed; false
    // shows none. The base accepts a text that is not empty.
    virtual bool OnSkinToolTipNeedTextNotify(CXSkinODButton& button, std::string& text);

    QSize minimumSizeHint() const override;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    struct Item {
        int id;
        QPointer<QWidget> control;
        QRect table;
    };

    Item* Find(int id);
    QWidget* Make(const SkinControlRow& row, TextSource texts);
    void Place(const Item& item) const;

    Ground m_ground;
    Placement m_placement;
    std::vector<Item> m_items;
    QPixmap m_groundBitmap;
};

}  // namespace kvmon
