// Skin buttons on their dialog, driven with the events that a user causes.
#include "skin/xskin_dialog.h"

#include <gmock/gmock.h>

#include <QtGui/QAccessible>
#include <QtGui/QTextDocument>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QToolTip>

#include "platform/diagnostics.h"
#include "skin/background.h"
#include "skin/xskin_od_button.h"
#include "skin/xskin_static.h"
#include "support/qt_user_input.h"

namespace kvmon {
namespace {

using kvtest::Repeat;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kPressMessage = 2058;

constexpr SkinControlRow kTable[] = {
    {"Button", "One", WS_CHILD | WS_VISIBLE, 826, 70, 141, 23, 1651, SkinControlKind::kButton, 9, 3500},
    {"Button", "Four", WS_CHILD | WS_VISIBLE, 825, 102, 63, 43, 1653, SkinControlKind::kButton, 9, 3501},
    {"Button", "Size", WS_CHILD | WS_VISIBLE, 825, 227, 41, 29, 1660, SkinControlKind::kButton, 3, 3510},
    {"Button", "Up", WS_CHILD | WS_VISIBLE, 873, 387, 48, 11, 1801, SkinControlKind::kButton, 0, 3515},
    {"Button", "Foucs Near", WS_CHILD, 877, 340, 9, 19, 1841, SkinControlKind::kButton, 0, 0},
    {"Static", "Name", WS_CHILD | WS_VISIBLE, 40, 25, 317, 25, 239, SkinControlKind::kStatic, 0, 0},
    {"Static", "Model", WS_CHILD | WS_VISIBLE, 813, 594, 167, 18, 240, SkinControlKind::kStatic, 0, 0},
};

class Dialog final : public CXSkinDialog {
public:
    int OnSkinODButtonNotify(int nId, int, LParam) override {
        notified.push_back(nId);
        return answer;
    }
    bool OnSkinToolTipNeedTextNotify(CXSkinODButton& button, std::string& text) override {
        if (button.ControlId() == 1801) {
            text = preset;
        }
        return CXSkinDialog::OnSkinToolTipNeedTextNotify(button, text);
    }

    std::vector<int> notified, commands, presses;
    std::string preset = "Gate <b>north</b>";
    int answer = 1;

protected:
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override {
        if (message == WM_COMMAND) {
            commands.push_back(static_cast<int>(wParam));
        } else if (message == kPressMessage && wParam == 1) {
            presses.push_back(static_cast<int>(lParam));
        }
        return 0;
    }
};

class SkinDialog : public testing::Test {
protected:
    SkinDialog() {
        dialog.resize(kSkinSize);
        dialog.CreateControls(kTable, [](std::uint32_t id) { return "text " + std::to_string(id); });
        dialog.show();
        dialog.GetButton(1801)->SetPressNotify(true, dialog.Handle(), kPressMessage);
        Settle();
    }

    static void Settle() { QCoreApplication::processEvents(); }

    CXSkinODButton& Button(int id) { return *dialog.GetButton(id); }

    void Mouse(int id, QEvent::Type type, QPointF at, Qt::MouseButton button = Qt::LeftButton) {
        kvtest::SendMouse(Button(id), type, at, button);
    }
    void Down(int id) { Mouse(id, QEvent::MouseButtonPress, {2, 2}); }
    void Up(int id) { Mouse(id, QEvent::MouseButtonRelease, {2, 2}); }
    void Click(int id) {
        Down(id);
        Up(id);
        Settle();
    }
    void Key(int id, QEvent::Type type, int key, Repeat repeat = Repeat::No) {
        kvtest::SendKey(Button(id), type, key, repeat);
    }

    Dialog dialog;
};

TEST_F(SkinDialog, ClicksBecomeCommandsUnlessTheOwnerKeepsThem) {
    Click(1660);
    EXPECT_THAT(dialog.commands, ElementsAre(1660));
    EXPECT_EQ(Button(1660).GetCheck(), BST_CHECKED);
    dialog.answer = 0;
    Click(1660);
    EXPECT_THAT(dialog.commands, ElementsAre(1660));
    EXPECT_THAT(dialog.notified, ElementsAre(1660, 1660));
    EXPECT_EQ(Button(1660).GetCheck(), BST_UNCHECKED);
    Mouse(1660, QEvent::MouseButtonPress, {2, 2}, Qt::RightButton);
    Mouse(1660, QEvent::MouseButtonRelease, {2, 2}, Qt::RightButton);
    EXPECT_EQ(dialog.notified.size(), 2U);
}

TEST_F(SkinDialog, OneOfAGroupIsChecked) {
    Click(1651);
    Click(1660);
    Click(1653);
    EXPECT_EQ(Button(1651).GetCheck(), BST_UNCHECKED);
    EXPECT_EQ(Button(1653).GetCheck(), BST_CHECKED);
    EXPECT_EQ(Button(1660).GetCheck(), BST_CHECKED) << "no member of the group";
    Button(1651).SetCheck(BST_CHECKED);
    Settle();
    EXPECT_EQ(Button(1653).GetCheck(), BST_CHECKED) << "set by program, each stands for itself";
    EXPECT_THAT(dialog.commands, ElementsAre(1651, 1660, 1653));
}

TEST_F(SkinDialog, AHeldButtonReportsItsPressAndShowsItsRelease) {
    Down(1801);
    Settle();
    EXPECT_THAT(dialog.presses, ElementsAre(1801));
    EXPECT_TRUE(Button(1801).IsPressed());
    Mouse(1801, QEvent::MouseMove, {-200, 300});
    EXPECT_TRUE(Button(1801).IsPressed()) << "held until the button comes up";
    Mouse(1801, QEvent::MouseButtonRelease, {-200, 300});
    Settle();
    EXPECT_FALSE(Button(1801).IsPressed());
    EXPECT_THAT(dialog.commands, IsEmpty()) << "let go elsewhere";

    Mouse(1801, QEvent::MouseButtonDblClick, {2, 2});
    Up(1801);
    Settle();
    EXPECT_THAT(dialog.presses, ElementsAre(1801, 1801)) << "the second press of a double click counts";
    EXPECT_THAT(dialog.commands, ElementsAre(1801));

    Click(1660);
    EXPECT_EQ(dialog.presses.size(), 2U) << "others do not report";
    Button(1801).SetPressNotify(false, {}, 0);
    Click(1801);
    EXPECT_EQ(dialog.presses.size(), 2U);
}

// A camera must not go on turning because a window came in between.
TEST_F(SkinDialog, NoInterruptionLeavesAButtonHeld) {
    using Interruption = std::function<void(CXSkinODButton&)>;
    const Interruption all[] = {
        [](CXSkinODButton& button) { button.hide(); },
        [](CXSkinODButton& button) { button.setEnabled(false); },
        [](CXSkinODButton& button) { button.parentWidget()->setEnabled(false); },
        [](CXSkinODButton& button) { button.parentWidget()->hide(); },
        [](CXSkinODButton& button) { button.SetBusy(true); },
        [](CXSkinODButton& button) {
            QFocusEvent event(QEvent::FocusOut, Qt::PopupFocusReason);
            QCoreApplication::sendEvent(&button, &event);
        },
        [](CXSkinODButton& button) {
            QEvent event(QEvent::WindowDeactivate);
            QCoreApplication::sendEvent(&button, &event);
        },
        [](CXSkinODButton& button) {
            // A move without a button down: its release went to somebody else.
            QMouseEvent event(QEvent::MouseMove, {2, 2}, {2, 2}, Qt::NoButton, Qt::NoButton, Qt::NoModifier);
            QCoreApplication::sendEvent(&button, &event);
        },
    };
    CXSkinODButton& button = Button(1801);
    int n = 0;
    for (const Interruption& interrupt : all) {
        SCOPED_TRACE(n++);
        Down(1801);
        ASSERT_TRUE(button.IsPressed());
        interrupt(button);
        EXPECT_FALSE(button.IsPressed());
        Up(1801);
        Settle();
        EXPECT_THAT(dialog.commands, IsEmpty());
        dialog.setEnabled(true);
        dialog.show();
        button.setEnabled(true);
        button.SetBusy(false);
        button.show();
        EXPECT_EQ(button.Look(), ButtonLook::kNormal);
    }
}

TEST_F(SkinDialog, KeysPressAndHold) {
    for (const int key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter}) {
        dialog.presses.clear();
        dialog.commands.clear();
        Key(1801, QEvent::KeyPress, key);
        Key(1801, QEvent::KeyPress, key, Repeat::Yes);
        Key(1801, QEvent::KeyRelease, key, Repeat::Yes);
        Key(1801, QEvent::KeyPress, key, Repeat::Yes);
        Mouse(1801, QEvent::MouseMove, {300, 2});
        Settle();
        EXPECT_THAT(dialog.presses, ElementsAre(1801)) << "a key that repeats is one press";
        EXPECT_TRUE(Button(1801).IsPressed());
        EXPECT_THAT(dialog.commands, IsEmpty());
        Key(1801, QEvent::KeyRelease, key);
        Settle();
        EXPECT_FALSE(Button(1801).IsPressed());
        EXPECT_THAT(dialog.commands, ElementsAre(1801));
    }
    Key(1801, QEvent::KeyPress, Qt::Key_Space);
    Key(1801, QEvent::KeyPress, Qt::Key_Escape);
    Key(1801, QEvent::KeyRelease, Qt::Key_Space);
    Settle();
    EXPECT_EQ(dialog.commands.size(), 1U) << "taken back";
    QKeyEvent arrow(QEvent::KeyPress, Qt::Key_Left, Qt::NoModifier);
    arrow.accept();
    Button(1801).setFocus();
    QCoreApplication::sendEvent(&Button(1801), &arrow);
    EXPECT_FALSE(arrow.isAccepted()) << "the console's own keys pass";
}

TEST_F(SkinDialog, TheRingShowsForTheKeyboardOnly) {
    const auto ring = [this] {
        const QImage picture = Button(1653).grab().toImage();
        const QColor edge = picture.pixelColor(picture.width() / 2, 0);
        return edge.red() > 150 && edge.green() > 120 && edge.blue() < 120;
    };
    Button(1653).setFocus(Qt::OtherFocusReason);
    EXPECT_FALSE(ring());
    Button(1653).clearFocus();
    Button(1653).setFocus(Qt::TabFocusReason);
    ASSERT_TRUE(Button(1653).hasFocus());
    EXPECT_TRUE(ring());
    Click(1653);
    EXPECT_FALSE(ring());
    EXPECT_EQ(Button(1651).nextInFocusChain(), &Button(1653)) << "in the table's order";
}

TEST_F(SkinDialog, TellsAssistiveToolsWhatItIs) {
    QAccessibleInterface* const toggle = QAccessible::queryAccessibleInterface(&Button(1660));
    ASSERT_NE(toggle, nullptr);
    EXPECT_EQ(toggle->role(), QAccessible::CheckBox);
    EXPECT_EQ(toggle->text(QAccessible::Name), "text 3510");
    EXPECT_FALSE(toggle->state().checked);
    toggle->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    Settle();
    EXPECT_TRUE(toggle->state().checked);
    EXPECT_THAT(dialog.commands, ElementsAre(1660));
    Button(1660).SetBusy(true);
    toggle->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    Settle();
    EXPECT_EQ(dialog.commands.size(), 1U);
    EXPECT_EQ(QAccessible::queryAccessibleInterface(&Button(1653))->role(), QAccessible::RadioButton);
    EXPECT_EQ(Button(1841).accessibleName(), "Foucs Near") << "no text of its own: the title";
}

TEST_F(SkinDialog, TipsComeFromTheOwnerAsPlainText) {
    const auto ask = [this](int id) {
        QToolTip::hideText();
        QHelpEvent event(QEvent::ToolTip, {2, 2}, Button(id).mapToGlobal(QPoint(2, 2)));
        QCoreApplication::sendEvent(&Button(id), &event);
        QTextDocument shown;
        shown.setHtml(QToolTip::text());
        return shown.toPlainText().toStdString();
    };
    const std::string preset = std::exchange(dialog.preset, "");
    EXPECT_EQ(ask(1801), "") << "none without a text";
    dialog.preset = preset;
    EXPECT_EQ(ask(1801), preset);
    EXPECT_EQ(ask(1653), "text 3501");
}

TEST_F(SkinDialog, FindsControlsAndTracesWhatItDoesNotHave) {
    static std::string traced;
    traced.clear();
    SetDiagnosticSink([](const char* text) { traced += text; });
    EXPECT_NE(dialog.GetDlgItem(239), nullptr);
    EXPECT_EQ(dialog.GetButton(239), nullptr) << "not a button";
    EXPECT_EQ(traced, "");
    EXPECT_EQ(dialog.GetDlgItem(1654), nullptr);
    EXPECT_EQ(traced,
              "[CXSkinDialog::GetDlgItem] Nothing Found!! Try to Call CDialog::GetDlgItem IID=1654 ...\n");
    auto* const apart = new WindowBase(&dialog);
    apart->SetControlId(1654);
    EXPECT_EQ(dialog.GetDlgItem(1654), apart);
    delete dialog.GetDlgItem(1801);
    EXPECT_EQ(dialog.GetDlgItem(1801), nullptr);
    SetDiagnosticSink(nullptr);
    EXPECT_FALSE(dialog.GetButton(1841)->isVisible()) << "made hidden";
}

TEST_F(SkinDialog, ThePanelKeepsItsPlaceAtTheRightAsTheWellGrows) {
    EXPECT_EQ(Button(1651).geometry(), QRect(826, 70, 141, 23));
    EXPECT_EQ(SkinViewRect(dialog.size()), QRect(QPoint(19, 64), QSize(783, 549)));
    auto* const combo = new QComboBox;
    dialog.AddControl(2529, combo, QRect(825, 267, 143, 24));
    dialog.resize(1300, 800);
    Settle();
    EXPECT_EQ(Button(1651).geometry(), QRect(1126, 70, 141, 23));
    EXPECT_EQ(dialog.GetDlgItem(2529)->geometry(), QRect(1125, 267, 143, 24));
    EXPECT_EQ(dialog.GetDlgItem(239)->geometry(), QRect(40, 25, 317, 25));
    EXPECT_EQ(SkinViewRect(dialog.size()), QRect(QPoint(19, 64), QSize(1083, 669)));
    EXPECT_LT(SkinViewRect(dialog.size()).right(), SkinPanelRect(dialog.size()).left());
    dialog.resize(500, 300);
    Settle();
    EXPECT_EQ(Button(1651).geometry(), QRect(826, 70, 141, 23)) << "never closer than the table says";
}

TEST_F(SkinDialog, ABusyButtonTurnsItsMarkOnlyWhileItShows) {
    Button(1653).SetBusy(true);
    EXPECT_TRUE(Button(1653).IsTimerSet(1));
    Click(1653);
    EXPECT_THAT(dialog.commands, IsEmpty());
    Button(1653).hide();
    EXPECT_FALSE(Button(1653).IsTimerSet(1));
    Button(1653).show();
    EXPECT_TRUE(Button(1653).IsTimerSet(1));
    Button(1653).SetBusy(false);
    EXPECT_FALSE(Button(1653).IsTimerSet(1));
}

TEST(SkinStatic, CutsLongTextAndTellsTheWholeInItsTip) {
    CXSkinStatic text(239, nullptr);
    text.resize(100, 25);
    text.show();
    text.SetWindowText("<i>");
    EXPECT_EQ(text.toolTip(), "");
    text.SetWindowText(std::string(10000, '<'));
    EXPECT_TRUE(text.toolTip().contains("&lt;&lt;"));
    EXPECT_FALSE(text.grab().isNull());
    EXPECT_EQ(FittingFontHeight(25, 96), 16);
    EXPECT_EQ(FittingFontHeight(18, 96), 12);
}

}  // namespace
}  // namespace kvmon
