// The list of cameras beside the wall, by mouse and by keyboard.
#include <gmock/gmock.h>

#include <QtGui/QAccessible>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QTreeWidget>

#include "console_fixture.h"
#include "feedback_reader.h"
#include "support/fake_recorder.h"
#include "support/qt_user_input.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::PressKey;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class CameraDrawerTest : public kvtest::ConsoleTest {
protected:
    QWidget& Drawer() { return console->Parts().drawer; }
    QTreeWidget& Tree() { return *Drawer().findChild<QTreeWidget*>("cameras"); }
    QTreeWidgetItem& RowOf(const QString& name) {
        return *Tree().findItems(name, Qt::MatchExactly | Qt::MatchRecursive).front();
    }
    QPoint PlaceOf(const QString& name) { return Tree().visualItemRect(&RowOf(name)).center(); }
    QPoint MiddleOf(int n) { return Cell(n).mapToGlobal(Cell(n).rect().center()); }
    QWidget* Ghost() { return Drawer().findChild<QWidget*>("drawerGhost"); }
    bool IsMarked(int n) { return Cell(n).findChild<QWidget*>("drawerMark") != nullptr; }
    // As far as the cell, with the button still down.
    void DragTo(const QString& name, int cell) {
        QWidget& list = *Tree().viewport();
        const QPoint from = list.mapToGlobal(PlaceOf(name));
        kvtest::SendMouseAt(list, QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
        for (const QPoint& at : {from + QPoint(15, 3), MiddleOf(cell)}) {
            kvtest::SendMouseAt(list, QEvent::MouseMove, at, Qt::NoButton, Qt::LeftButton);
        }
    }
    void Drop(int cell) {
        kvtest::SendMouseAt(*Tree().viewport(), QEvent::MouseButtonRelease, MiddleOf(cell), Qt::LeftButton,
                            Qt::NoButton);
        Pump();
    }
    void OpenDrawer() {
        PressKey(*console, Qt::Key_C);
        Pump();
        ASSERT_TRUE(Drawer().isVisible());
    }
};

}  // namespace

TEST_F(CameraDrawerTest, ARowGoesIntoACellByMouseAndByKeyboard) {
    FakeRecorder recorder("Hall", 9);
    Open(recorder.Port());
    console->resize(1400, 800);
    Command(kCtl4Channels);
    OpenDrawer();
    DragTo("Channel 7", 2);
    EXPECT_NE(Ghost(), nullptr);
    EXPECT_TRUE(IsMarked(2));
    Drop(2);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1", "Channel 2", "Channel 7", "Channel 4"));
    EXPECT_EQ(console->Parts().cells.GetActive(), &Cell(2));
    EXPECT_EQ(Ghost(), nullptr);
    EXPECT_FALSE(IsMarked(2));
    EXPECT_EQ(kvtest::FeedbackText(*console), "Channel 7 and Channel 3 have changed places");
    // A camera that is on show changes places; Escape ends a drag; a drop beside the cells does nothing.
    DragTo("Channel 4", 0);
    Drop(0);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 4", "Channel 2", "Channel 7", "Channel 1"));
    DragTo("Channel 9", 2);
    PressKey(Tree(), Qt::Key_Escape);
    EXPECT_EQ(Ghost(), nullptr);
    Drop(2);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 4", "Channel 2", "Channel 7", "Channel 1"));

    // By the keyboard alone: find, go down, put into the active cell.
    kvtest::ClickAt(Cell(3), {40, 10});
    console->Parts().view.ActivateWindow(&Cell(3));
    auto& search = *Drawer().findChild<QLineEdit*>("search");
    kvtest::TypeText(search, "nel 5");
    EXPECT_TRUE(RowOf("Channel 4").isHidden());
    PressKey(search, Qt::Key_Down);
    EXPECT_EQ(Tree().currentItem(), &RowOf("Channel 5"));
    PressKey(Tree(), Qt::Key_Return);
    Pump();
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 4", "Channel 2", "Channel 7", "Channel 5"));
    EXPECT_EQ(console->Parts().cells.GetActive(), &Cell(3));
    // What nothing has says so, and how to go on.
    kvtest::TypeText(search, "zz");
    EXPECT_TRUE(RowOf("Channel 5").isHidden());
    const auto& hint = *Drawer().findChild<QLabel*>("emptyHint");
    EXPECT_TRUE(hint.isVisible());
    EXPECT_EQ(hint.text(), "No camera matches \"nel 5zz\". Escape clears the search.");
    // The recorder's name finds all of its cameras.
    PressKey(search, Qt::Key_Escape);
    EXPECT_FALSE(hint.isVisible());
    kvtest::TypeText(search, "hall");
    EXPECT_FALSE(RowOf("Channel 4").isHidden());

    kvtest::DoubleClickAt(*Tree().viewport(), PlaceOf("Channel 8"));
    Pump();
    EXPECT_EQ(console->Parts().view.GetStyle(), VIEW_STYLE_SINGLE_1CH);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 8"));
}

// On the second page, and with small pictures in a large one.
TEST_F(CameraDrawerTest, OtherPagesAndStylesTakeARowToo) {
    FakeRecorder recorder("Hall", 9);
    Open(recorder.Port());
    console->resize(1400, 800);
    Command(kCtl4Channels);
    OpenDrawer();
    PressKey(*console, Qt::Key_PageDown);
    DragTo("Channel 1", 2);
    Drop(2);
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 5", "Channel 6", "Channel 1", "Channel 8"));
    Command(kCtlPip);
    DragTo("Channel 9", 0);
    Drop(0);
    EXPECT_EQ(ShownNames().front(), "Channel 9");
}

TEST_F(CameraDrawerTest, ItStandsBesideTheWallWhereThereIsRoomAndIsRemembered) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    Command(kCtl4Channels);
    const auto isBeside = [&] { return Cell(0).geometry().left() >= Drawer().geometry().right(); };
    OpenDrawer();
    EXPECT_FALSE(isBeside());  // it lies over the wall
    console->resize(1400, 800);
    EXPECT_TRUE(isBeside());
    const QRect beside = Cell(0).geometry();
    PressKey(*console, Qt::Key_C);
    Pump();
    EXPECT_FALSE(Drawer().isVisible());
    EXPECT_LT(Cell(0).geometry().left(), beside.left());
    PressKey(*console, Qt::Key_C);
    Pump();
    // Nothing to choose from without a session; the next one has it open.
    console->Logout();
    Pump();
    EXPECT_FALSE(Drawer().isVisible());
    Close();
    Open(recorder.Port());
    EXPECT_TRUE(Drawer().isVisible());
}

TEST_F(CameraDrawerTest, LongNamesStayApart) {
    const QString house = "North building, second floor, corridor to the stairs, door ";
    std::vector<kvtest::FakeChannel> doors;
    for (const char* const door : {"1", "2", "3"}) {
        doors.push_back({(house + door).toStdString()});
    }
    FakeRecorder recorder("Hall", doors);
    Open(recorder.Port());
    OpenDrawer();
    const auto row = [&](const char* door) {
        return Tree().viewport()->grab(Tree().visualItemRect(&RowOf(house + door))).toImage();
    };
    EXPECT_NE(row("2"), row("3"));
    const auto strip = [this](int cell) {
        return Cell(cell).grab(QRect(0, 0, Cell(cell).width(), 20)).toImage();
    };
    ASSERT_EQ(Cell(1).size(), Cell(2).size());
    EXPECT_NE(strip(1), strip(2));
    EXPECT_EQ(strip(2), strip(2));
}

// What the recorder tells of a camera shows in its row, in signs and in words.
TEST_F(CameraDrawerTest, ARowTellsTheStateOfItsCamera) {
    FakeRecorder recorder("Hall", 2);
    Open(recorder.Port());
    OpenDrawer();
    const auto picture = [&](const QString& name) { return RowOf(name).icon(1).pixmap(84, 19).toImage(); };
    const QImage before = picture("Channel 2");
    auto& camera = *console->Parts().cameras.GetCameraByChannel(1);
    StatusFlags flags{};
    flags[static_cast<std::size_t>(StatusFlag::Connected)] = 1;
    flags[static_cast<std::size_t>(StatusFlag::Recording)] = 1;
    flags[static_cast<std::size_t>(StatusFlag::SignalLoss)] = 1;
    camera.SetStatusFlags(flags);
    console->Parts().OnSecond();
    EXPECT_NE(picture("Channel 2"), before);
    const QString words = RowOf("Channel 2").data(0, Qt::AccessibleTextRole).toString();
    EXPECT_THAT(words.toStdString(),
                testing::AllOf(HasSubstr("Channel 2"), HasSubstr("Recording"), HasSubstr("Signal loss")));
    EXPECT_EQ(QAccessible::queryAccessibleInterface(&Tree())->role(), QAccessible::Tree);
    EXPECT_EQ(QAccessible::queryAccessibleInterface(&Tree())->text(QAccessible::Name), "Camera list");
}
