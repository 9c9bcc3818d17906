// A snapshot by a call or key while nobody can see the console's window.
#include <gmock/gmock.h>

#include <QtCore/QBuffer>
#include <QtGui/QImage>
#include <array>
#include <filesystem>

#include "channel/camera/base_camera.h"
#include "console/panel/console_controls.h"
#include "console_fixture.h"
#include "support/fake_recorder.h"
#include "support/scripted_server.h"
#include "wire/frame_header.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::PumpUntil;

namespace {

class SnapshotUnseen : public kvtest::ConsoleTest {};

constexpr int kPictures = 6;

int GreyOf(int picture) {
    return 40 + 30 * picture;
}

// Plain pictures, each brighter than the one before.
std::string Records() {
    std::string records;
    for (int i = 0; i < kPictures; ++i) {
        QImage picture(64, 48, QImage::Format_RGB32);
        picture.fill(qRgb(GreyOf(i), GreyOf(i), GreyOf(i)));
        QBuffer file;
        file.open(QIODevice::WriteOnly);
        picture.save(&file, "JPG", 95);
        std::string head(wire::kFrameHeaderSize, '\0');
        const auto set = [&head](std::size_t offset, std::uint32_t value) {
            for (std::size_t byte = 0; byte < 4; ++byte) {
                head[offset + byte] = static_cast<char>(value >> 8 * byte & 0xFF);
            }
        };
        set(wire::kFourccOffset, wire::kZIVG);
        set(wire::kKeyFlagOffset, 1);
        set(wire::kReservedOffset, wire::kVideoReserved);
        set(wire::kDataSizeOffset, static_cast<std::uint32_t>(file.data().size()));
        records += head + file.data().toStdString();
    }
    return records;
}

TEST_F(SnapshotUnseen, OfAMinimisedConsoleTheFileHoldsTheNewestPicture) {
    FakeRecorder recorder{"Hall", 1};
    recorder.SetStream(kvtest::HttpReply(200, "OK", Records()));
    const std::string shots = folder.File("my shots");
    Registry().WriteProfileInt("Hall", "ShowSnapshotTimeStamp", 0);
    Registry().WriteProfileInt("Hall", "SaveSnapshotAsJpeg", 0);
    Registry().WriteProfileString("Hall", "SanpshotFolder", shots);
    Start(recorder.Port());
    console->showMinimized();
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().cells.GetCount() > 0 && Cell(0).GetCamera(); }));
    const auto camera = Cell(0).GetCamera();
    ASSERT_TRUE(PumpUntil([&] { return camera->IsKept() && camera->GetStatistics().received == kPictures; }));
    EXPECT_LT(camera->GetStatistics().shown, static_cast<std::uint64_t>(kPictures));
    console->Press(kCtlSnapshot);
    std::string file;
    ASSERT_TRUE(PumpUntil([&] {
        if (std::filesystem::is_directory(shots)) {
            for (const auto& entry : std::filesystem::directory_iterator(shots)) {
                file = entry.path().string();
            }
        }
        return file.ends_with(".bmp") && file.find("/.") == std::string::npos;
    }));
    const QImage image(QString::fromStdString(file));
    EXPECT_NEAR(qGreen(image.pixel(20, 10)), GreyOf(kPictures - 1), 3);
    EXPECT_TRUE(PumpUntil([&] { return camera->IsKept(); })) << "nobody sees it still";
}

}  // namespace
