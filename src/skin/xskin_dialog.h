// A dialog whose controls are all made at run time from a table, on a drawn ground.
#pragma once

#include <QtCore/QPointer>
#include <span>
#include <vector>

#include "skin/skin_button_owner.h"
#include "skin/skin_colours.h"
#include "skin/skin_messages.h"
#include "skin/skin_table.h"
#include "skin/window_base.h"

namespace kvmon {

// User interface thread only.
class CXSkinDialog : public WindowBase, public SkinButtonOwner {
public:
    // Gives the text of a number.
    using TextSource = std::string (*)(std::uint32_t id);

    explicit CXSkinDialog(QWidget* parent = nullptr);

    // Makes the controls in the table's order, which is the order of the Tab key, too. An identifier that is
    // there already is passed over.
    void CreateControls(std::span<const SkinControlRow> table, TextSource texts);
    // Takes a control that was made apart, at its place for the smallest size.
    void AddControl(int id, QWidget* control, const QRect& table);

    // All controls as one reads them: by rows from the top, not by tables.
    std::vector<QWidget*> ControlsByPlace() const;

    // The control of the table or one taken, else any child with the identifier, or null with a line in the
    // trace.
    QWidget* GetDlgItem(int id) const;
    // The same when it is a skin button, else null.
    CXSkinODButton* GetButton(int id) const;

    // The base leaves the click to PostCommand, which posts WM_COMMAND.
    int OnSkinODButtonNotify(int nId, int nCode, LParam lParam) override;
    // The base accepts a text that is not empty.
    bool OnSkinToolTipNeedTextNotify(CXSkinODButton& button, std::string& text) override;
    void PostCommand(int nId) override;

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

    std::vector<Item> m_items;
};

}  // namespace kvmon
