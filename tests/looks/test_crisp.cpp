// On a screen of so many device pixels to a unit as QT_SCALE_FACTOR says, all is drawn by the pixel. CTest
// runs this at several scales.
#include <gmock/gmock.h>

#include <QtWidgets/QTreeWidget>
#include <cmath>

#include "../channel/test_frames.h"
#include "channel/cell/channel_view.h"
#include "console/console_tables.h"
#include "console_fixture.h"
#include "skin/button_art.h"
#include "skin/dialog_style.h"
#include "skin/xskin_od_button.h"
#include "support/fake_recorder.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::Pump;

namespace {

class Crisp : public kvtest::ConsoleTest {
protected:
    Crisp() { ApplySkin(*qApp); }

    double Scale() const { return console->devicePixelRatioF(); }
    // Where a point of a widget lies in a picture of the console.
    QPointF InConsole(const QWidget& widget, const QPoint& at) const {
        return QPointF(widget.mapTo(console.get(), at)) * Scale();
    }
};

// How many pixels of the drawing, its rim aside, stand in the picture at this place.
int SamePixels(const QImage& picture, const QImage& drawing, const QPoint& at) {
    int same = 0;
    for (int y = 2; y < drawing.height() - 2; ++y) {
        for (int x = 2; x < drawing.width() - 2; ++x) {
            const QPoint place = at + QPoint(x, y);
            same += picture.rect().contains(place) && picture.pixel(place) == drawing.pixel(x, y) ? 1 : 0;
        }
    }
    return same;
}

}  // namespace

TEST_F(Crisp, ButtonsAreTheDrawingsOfTheirScale) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    const QImage picture = console->grab().toImage().convertToFormat(QImage::Format_RGB32);
    int seen = 0;
    for (const SkinControlRow& row : ControlTable()) {
        const CXSkinODButton* const button = console->GetButton(row.id);
        if (button == nullptr || !button->isVisible()) {
            continue;
        }
        const QImage drawing = RenderButton(row.id, button->size(), Scale(), button->Look(),
                                            button->GetCheck() == BST_CHECKED, ColoursOf(SkinLook::Dark))
                                   .toImage()
                                   .convertToFormat(QImage::Format_RGB32);
        const QPointF at = InConsole(*button, {0, 0});
        int same = 0;
        for (const int dx : {-1, 0, 1}) {
            for (const int dy : {-1, 0, 1}) {
                same = std::max(same, SamePixels(picture, drawing, at.toPoint() + QPoint(dx, dy)));
            }
        }
        // Where it has no face, what it stands on shows through.
        const bool bBare = row.id >= 1801 && row.id <= 1808;
        if (!bBare) {
            EXPECT_EQ(same, (drawing.width() - 4) * (drawing.height() - 4)) << row.id;
            ++seen;
        }
    }
    EXPECT_GE(seen, 8);
}

// A picture as large as its view shows each of its pixels once, and nothing is left undrawn at its edges.
TEST_F(Crisp, PicturesAreShownPixelByPixel) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    for (const int n : {0, 1}) {
        QWidget& view = Cell(n).View();
        const auto camera = Cell(n).GetCamera();
        const int width = qRound(view.width() * Scale());
        const int height = qRound(view.height() * Scale());
        auto frame = kvtest::MakeFrame(width, height, [](int x, int y) {
            const auto grey = static_cast<std::uint8_t>((x + y) % 2 == 0 ? 255 : 0);
            return kvtest::Bgr{grey, grey, grey};
        });
        camera->Picture().SetBitmapInfo(frame->Info());
        camera->Picture().Present(std::move(frame));
        camera->Picture().SetMainOsdCameraString({}, CaptionStay::ForAWhile);
        Pump();
        const QImage picture = console->grab().toImage();
        const QPoint at = InConsole(view, {0, 0}).toPoint();
        int plain = 0;
        int turns = 0;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const QRgb pixel = picture.pixel(at + QPoint(x, y)) & 0xffffff;
                plain += pixel == 0xffffff || pixel == 0 ? 1 : 0;
                turns += x > 0 && pixel != (picture.pixel(at + QPoint(x - 1, y)) & 0xffffff) ? 1 : 0;
            }
        }
        EXPECT_EQ(plain, width * height) << "cell " << n;
        EXPECT_GE(turns, (width - 3) * (height - 3)) << "cell " << n;
    }
}

TEST_F(Crisp, SignsOfTheListOfCamerasAreOfTheScreen) {
    FakeRecorder recorder("Hall", 2);
    Open(recorder.Port());
    Command(kCtlCameraList);
    auto* const tree = console->findChild<QTreeWidget*>(QStringLiteral("cameras"));
    ASSERT_NE(tree, nullptr);
    const QIcon icon = tree->topLevelItem(0)->child(0)->icon(1);
    EXPECT_EQ(icon.pixmap(tree->iconSize(), Scale()).size(), (QSizeF(tree->iconSize()) * Scale()).toSize());
}
