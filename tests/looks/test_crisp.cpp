// On a screen of so many device pixels to a unit as QT_SCALE_FACTOR says, all is drawn by the pixel. CTest
// runs this at several scales.
#include <gmock/gmock.h>

#include <QtWidgets/QApplication>
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

// Places beside which a part can lie by its scale's fraction.
constexpr QPoint kAround[] = {{0, 0}, {-1, 0}, {1, 0}, {0, -1}, {0, 1}, {-1, -1}, {1, 1}, {-1, 1}, {1, -1}};

// How many of the drawing's opaque pixels the picture has not at this place.
int OtherPixels(const QImage& picture, const QImage& drawing, const QPoint& at) {
    int others = 0;
    for (int y = 0; y < drawing.height(); ++y) {
        for (int x = 0; x < drawing.width(); ++x) {
            const QPoint place = at + QPoint(x, y);
            const bool bSame = picture.rect().contains(place) && picture.pixel(place) == drawing.pixel(x, y);
            others += qAlpha(drawing.pixel(x, y)) == 255 && !bSame ? 1 : 0;
        }
    }
    return others;
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
        const QPointF last = InConsole(*button, {button->width(), button->height()});
        const QPoint pixels = last.toPoint() - InConsole(*button, {0, 0}).toPoint();
        const QSizeF size = QSizeF(pixels.x(), pixels.y()) / Scale();
        const QImage drawing = RenderButton(row.id, size, Scale(), button->Look(),
                                            button->GetCheck() == BST_CHECKED, ColoursOf(SkinLook::Dark))
                                   .toImage()
                                   .convertToFormat(QImage::Format_ARGB32);
        const QPointF at = InConsole(*button, {0, 0});
        int others = drawing.width() * drawing.height();
        for (const QPoint& shift : kAround) {
            others = std::min(others, OtherPixels(picture, drawing, at.toPoint() + shift));
        }
        EXPECT_EQ(others, 0) << row.id;
        ++seen;
    }
    EXPECT_GE(seen, 8);
}

// A picture as large as its view shows each of its pixels once, and nothing is left undrawn at its edges. Of
// half a device pixel at the right or below nothing can be seen.
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
        int plain = 0;
        int turns = 0;
        for (const QPoint& shift : kAround) {
            const QPoint at = InConsole(view, {0, 0}).toPoint() + shift;
            int plainHere = 0;
            int turnsHere = 0;
            for (int y = 0; y < height - 1; ++y) {
                for (int x = 0; x < width - 1; ++x) {
                    const QRgb pixel = picture.pixel(at + QPoint(x, y)) & 0xffffff;
                    plainHere += pixel == 0xffffff || pixel == 0 ? 1 : 0;
                    turnsHere += x > 0 && pixel != (picture.pixel(at + QPoint(x - 1, y)) & 0xffffff) ? 1 : 0;
                }
            }
            plain = std::max(plain, plainHere);
            turns = std::max(turns, turnsHere);
        }
        EXPECT_EQ(plain, (width - 1) * (height - 1)) << "cell " << n;
        EXPECT_EQ(turns, (width - 2) * (height - 1)) << "cell " << n;
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
