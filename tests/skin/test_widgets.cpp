// Menu, combo box, animated picture, wait dialog, and the style of Qt's own widgets.
#include <gmock/gmock.h>

#include <QtWidgets/QAbstractItemView>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QRadioButton>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QSpinBox>

#include "skin/bc_menu.h"
#include "skin/dialog_style.h"
#include "skin/ext_combo_box.h"
#include "skin/picture_ex.h"
#include "skin/wait_dlg.h"
#include "support/qt_user_input.h"

namespace kvmon {
namespace {

using kvtest::PressKey;
using testing::ElementsAre;

class Receiver final : public WindowBase {
public:
    std::vector<int> commands;

protected:
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam) override {
        if (message == WM_COMMAND) {
            commands.push_back(static_cast<int>(wParam));
        }
        return 0;
    }
};

void Settle() {
    for (int n = 0; n < 3; ++n) {
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

BCMenu* MakeMenu() {
    auto* const menu = new BCMenu;
    menu->AppendMenu(0, 1604, "First && last");
    menu->AppendMenu(MF_GRAYED, 1601, "Not now");
    menu->AppendMenu(MF_SEPARATOR, 0, "");
    menu->AppendMenu(MF_CHECKED, 1600, "Two displays");
    menu->AppendPopup(EscapeMenuText("R&D"))->AppendMenu(0, 1811, EscapeMenuText("Gate & yard\tCtrl+X"));
    return menu;
}

TEST(BCMenu, KeysChooseAndTheChoiceIsPostedOnce) {
    Receiver receiver;
    const QPointer<BCMenu> menu = MakeMenu();
    std::vector<int> closed;
    menu->TrackPopupMenu({10, 10}, receiver.Handle(), [&closed](int id) { closed.push_back(id); });
    EXPECT_TRUE(menu->isVisible());
    PressKey(*menu, Qt::Key_Down);
    PressKey(*menu, Qt::Key_Down);  // over the grey one
    PressKey(*menu, Qt::Key_Return);
    Settle();
    EXPECT_THAT(receiver.commands, ElementsAre(1600));
    EXPECT_THAT(closed, ElementsAre(1600));
    EXPECT_TRUE(menu.isNull()) << "deletes itself";
}

TEST(BCMenu, ChoosesInAPopupBelow) {
    Receiver receiver;
    const QPointer<BCMenu> menu = MakeMenu();
    menu->TrackPopupMenu({10, 10}, receiver.Handle());
    PressKey(*menu, Qt::Key_Up);
    PressKey(*menu, Qt::Key_Right);
    QWidget* const below = QApplication::activePopupWidget();
    ASSERT_NE(below, nullptr);
    ASSERT_NE(below, menu.data());
    PressKey(*below, Qt::Key_Return);
    Settle();
    EXPECT_THAT(receiver.commands, ElementsAre(1811));
}

TEST(BCMenu, ClosingChoosesNothing) {
    Receiver receiver;
    const QPointer<BCMenu> menu = MakeMenu();
    std::vector<int> closed;
    menu->TrackPopupMenu({10, 10}, receiver.Handle(), [&closed](int id) { closed.push_back(id); });
    PressKey(*menu, Qt::Key_Escape);
    Settle();
    EXPECT_THAT(receiver.commands, ElementsAre());
    EXPECT_THAT(closed, ElementsAre(0));
    EXPECT_TRUE(menu.isNull());
}

TEST(BCMenu, TextFromOutsideMakesNoKeysAndNoShortcuts) {
    EXPECT_EQ(EscapeMenuText("R&D && more\tCtrl+X"), "R&&D &&&& more Ctrl+X");
    EXPECT_EQ(EscapeMenuText(""), "");
}

TEST(CExtComboBox, TheListIsAsWideAsItsEntriesWithinTheScreen) {
    CExtComboBox combo;
    combo.resize(143, 24);
    combo.addItem("1");
    combo.addItem(QString(20, 'W'));
    combo.show();
    combo.showPopup();
    const int wide = combo.view()->width();
    EXPECT_GT(wide, 143);
    combo.hidePopup();
    combo.addItem(QString(2000, 'W'));
    combo.showPopup();
    EXPECT_GT(combo.view()->width(), wide);
    EXPECT_LE(combo.view()->width(), combo.screen()->size().width());
    combo.hidePopup();
}

// Names that differ at their ends only look different.
TEST(CExtComboBox, ALongTextIsCutInTheMiddle) {
    const auto pictureOf = [](const QString& text) {
        CExtComboBox combo;
        combo.resize(143, 24);
        combo.addItem(text);
        return combo.grab().toImage();
    };
    const QString middle(30, 'W');
    EXPECT_NE(pictureOf("A" + middle + "1"), pictureOf("A" + middle + "2"));
    EXPECT_NE(pictureOf("A" + middle + "1"), pictureOf("B" + middle + "1"));
    EXPECT_EQ(pictureOf("A" + middle + "." + middle + "1"), pictureOf("A" + middle + ":" + middle + "1"));
}

TEST(CPictureEx, TurnsOnlyWhileItPlaysAndShows) {
    CPictureEx picture;
    picture.Draw();
    EXPECT_FALSE(picture.IsTimerSet(1)) << "nobody sees it";
    picture.show();
    EXPECT_TRUE(picture.IsTimerSet(1));
    picture.Stop();
    EXPECT_FALSE(picture.IsTimerSet(1));
    picture.Draw();
    picture.hide();
    EXPECT_FALSE(picture.IsTimerSet(1));
}

class WaitDialog : public testing::Test {
protected:
    WaitDialog() {
        dialog.SetText("Please wait...");
        dialog.SetClosed([this](int result) { results.push_back(result); });
        dialog.Open(CWaitDlg::Input::Blocked);
        dialog.Open(CWaitDlg::Input::Blocked);
    }

    QWidget parent;
    CWaitDlg dialog{&parent};
    std::vector<int> results;
};

TEST_F(WaitDialog, TheUserGivesUpInFourWays) {
    using Way = void (*)(CWaitDlg&);
    constexpr Way kWays[] = {
        [](CWaitDlg& wait) { PressKey(wait, Qt::Key_Escape); },
        [](CWaitDlg& wait) { PressKey(wait, Qt::Key_Return); },
        [](CWaitDlg& wait) { wait.close(); },
        [](CWaitDlg& wait) { wait.findChild<QPushButton*>()->click(); },
    };
    for (const Way way : kWays) {
        dialog.Open(CWaitDlg::Input::Blocked);
        way(dialog);
        EXPECT_FALSE(dialog.isVisible());
        dialog.Close(IDOK);
        EXPECT_THAT(results, ElementsAre(IDCANCEL)) << "told once";
        results.clear();
    }
}

TEST_F(WaitDialog, AMessageFromAnyThreadClosesIt) {
    std::thread([handle = dialog.Handle()] { handle.Post(kMsgCloseWait, IDOK, 0); }).join();
    EXPECT_TRUE(dialog.IsOpen());
    Settle();
    EXPECT_FALSE(dialog.IsOpen());
    EXPECT_THAT(results, ElementsAre(IDOK));
}

TEST_F(WaitDialog, ShowsTextFromOutsideAsItIs) {
    dialog.SetText("<b>x</b> %s");
    const auto* const label = dialog.findChild<QLabel*>();
    EXPECT_EQ(label->text(), "<b>x</b> %s");
    EXPECT_EQ(label->textFormat(), Qt::PlainText);
}

// The closing call may be the end of the dialog.
TEST(WaitDialogEnd, MayBeDeletedInItsOwnEnd) {
    auto dialog = std::make_unique<CWaitDlg>(nullptr);
    dialog->SetClosed([&dialog](int) { dialog.release()->deleteLater(); });
    dialog->Open(CWaitDlg::Input::Free);
    dialog->findChild<QPushButton*>()->click();
    Settle();
    EXPECT_EQ(dialog, nullptr);
}

TEST(DialogStyle, StatesOfQtsWidgetsAreToldApart) {
    ApplySkin(*static_cast<QApplication*>(QCoreApplication::instance()));
    EXPECT_EQ(QApplication::palette().color(QPalette::Window), QColor(ColoursOf(SkinLook::Dark).panel));
    QWidget window;
    const auto differ = [&window](QWidget& widget, const std::function<void()>& change) {
        widget.setParent(&window);
        widget.resize(160, 40);
        widget.show();
        const QImage before = widget.grab().toImage();
        change();
        return before != widget.grab().toImage();
    };
    QCheckBox check("Check");
    EXPECT_TRUE(differ(check, [&] { check.setChecked(true); }));
    EXPECT_TRUE(differ(check, [&] { check.setEnabled(false); }));
    QRadioButton radio("Radio");
    EXPECT_TRUE(differ(radio, [&] { radio.setChecked(true); }));
    QPushButton push("Push");
    EXPECT_TRUE(differ(push, [&] { push.setDown(true); }));
    push.setDown(false);
    EXPECT_TRUE(differ(push, [&] { push.setDefault(true); }));
    EXPECT_TRUE(differ(push, [&] { push.setEnabled(false); }));
    QSpinBox spin;
    spin.setRange(3, 3600);
    EXPECT_TRUE(differ(spin, [&] { spin.setEnabled(false); }));
    CExtComboBox combo;
    EXPECT_TRUE(differ(combo, [&] { combo.setEnabled(false); }));
    QProgressBar meter;
    meter.setTextVisible(false);
    meter.setValue(10);
    EXPECT_TRUE(differ(meter, [&] { meter.setValue(90); }));
    QTabBar tabs;
    tabs.addTab("A");
    tabs.addTab("B");
    EXPECT_TRUE(differ(tabs, [&] { tabs.setCurrentIndex(1); }));
    QScrollBar bar(Qt::Vertical);
    bar.setRange(0, std::numeric_limits<int>::max());
    bar.setPageStep(std::numeric_limits<int>::max());
    EXPECT_TRUE(differ(bar, [&] { bar.setValue(std::numeric_limits<int>::max()); }));
}

}  // namespace
}  // namespace kvmon
