#include "channel/picture/snapshot.h"

#include <gtest/gtest.h>

#include <QtGui/QImage>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "channel/base/channel_globals.h"
#include "channel/picture/channel_picture.h"
#include "support/temp_folder.h"
#include "test_frames.h"

namespace kvmon {
namespace {

using kvtest::MakeFrame;

std::vector<std::uint8_t> ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::unique_ptr<CVideoBmpFrame> Ramp(int width, int height) {
    return MakeFrame(width, height, [](int x, int y) {
        return kvtest::Bgr{static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y), 77};
    });
}

class SnapshotFile : public testing::Test {
protected:
    void Show(std::unique_ptr<CVideoBmpFrame> frame) {
        picture.SetBitmapInfo(frame->Info());
        picture.Present(std::move(frame));
    }

    kvtest::TempFolder folder;
    ChannelPicture picture;
};

TEST_F(SnapshotFile, BmpHoldsThePictureByteForByte) {
    picture.SetViewSize(10, 10);
    Show(Ramp(33, 20));
    const std::string path = folder.Path() + "/new/deep/a.bmp";
    EXPECT_EQ(picture.SaveSnapshot(path, SnapshotFormat::Bmp, ""), SnapshotResult::Saved);

    const auto file = ReadAll(path);
    const auto frame = Ramp(33, 20);
    const auto bits = frame->Bitmap();
    ASSERT_EQ(file.size(), 54 + bits.size());
    EXPECT_EQ(file[0], 'B');
    EXPECT_EQ(file[1], 'M');
    EXPECT_EQ(file[2] | file[3] << 8, static_cast<int>(file.size()));
    EXPECT_EQ(file[10], 54);
    EXPECT_EQ(file[14], 40);
    EXPECT_TRUE(std::equal(bits.begin(), bits.end(), file.begin() + 54));
    EXPECT_EQ(picture.GetBitmapFile(), file);

    const QImage image(QString::fromStdString(path));
    EXPECT_EQ(image.pixel(32, 0), qRgb(77, 0, 32));
    EXPECT_EQ(image.pixel(0, 19), qRgb(77, 19, 0));
}

TEST_F(SnapshotFile, JpegIsNearlyThePicture) {
    picture.SetViewSize(10, 10);
    Show(Ramp(64, 48));
    const std::string path = folder.Path() + "/a.jpg";
    EXPECT_EQ(picture.SaveSnapshot(path, SnapshotFormat::Jpeg, ""), SnapshotResult::Saved);
    const QImage image(QString::fromStdString(path));
    ASSERT_EQ(image.size(), QSize(64, 48));
    EXPECT_NEAR(qBlue(image.pixel(40, 20)), 40, 4);
    EXPECT_NEAR(qGreen(image.pixel(40, 20)), 20, 4);
}

TEST_F(SnapshotFile, ProcessedImageIsTheComposedView) {
    picture.SetViewSize(50, 30);
    picture.SetDisplayMode(DisplayMode::KeepAspect);
    Show(Ramp(33, 33));
    Globals().saveProcessImage = true;
    const auto snapshot = picture.TakeSnapshot("");
    Globals().saveProcessImage = false;
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(snapshot->info, MakeBitmapInfo(50, 30));
    const std::uint8_t* const row = snapshot->bits.data() + BitmapStride(50) * 10;
    EXPECT_EQ(row[0] | row[1] | row[2], 0);  // the strip
    EXPECT_NEAR(row[25 * 3 + 2], 77, 2);
}

TEST_F(SnapshotFile, RefusesWithoutPlacePictureOrViewAndLeavesNoHalfFile) {
    Show(Ramp(16, 16));
    const std::string path = folder.Path() + "/a.bmp";
    EXPECT_EQ(picture.SaveSnapshot(path, SnapshotFormat::Bmp, ""), SnapshotResult::Refused);  // no view
    picture.SetViewSize(10, 10);
    EXPECT_EQ(picture.SaveSnapshot("", SnapshotFormat::Bmp, ""), SnapshotResult::Refused);
    EXPECT_EQ(picture.SaveSnapshot("/proc/none/a.bmp", SnapshotFormat::Bmp, ""), SnapshotResult::Refused);
    std::filesystem::create_directory(path);
    EXPECT_EQ(picture.SaveSnapshot(path, SnapshotFormat::Bmp, ""), SnapshotResult::Failed);
    EXPECT_EQ(picture.SaveSnapshot(path, SnapshotFormat::Jpeg, ""), SnapshotResult::Failed);
    picture.ReleasePicture();
    EXPECT_EQ(picture.SaveSnapshot(folder.Path() + "/b.bmp", SnapshotFormat::Bmp, ""),
              SnapshotResult::Refused);
    EXPECT_TRUE(picture.GetBitmapFile().empty());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1);
}

TEST(SnapshotStamp, DarkensAPlateBehindYellowText) {
    Snapshot snapshot{MakeBitmapInfo(200, 40), {}};
    snapshot.bits.assign(snapshot.info.biSizeImage, 200);
    AddStringOnBitmapImage(snapshot, "Gate & <b>");
    const PictureView view = ViewOfBitmap(snapshot.info, snapshot.bits.data());
    const auto pixel = [&](int x, int y) {
        const std::uint8_t* const p = view.data[0] + y * view.stride[0] + x * 3;
        return qRgb(p[2], p[1], p[0]);
    };
    const QRgb plain = qRgb(200, 200, 200);
    const QRgb plate = qRgb(100, 100, 100);
    EXPECT_EQ(pixel(0, 0), plain);
    EXPECT_EQ(pixel(0, 5), plain);
    EXPECT_EQ(pixel(1, 1), plate);
    int right = 1;
    while (pixel(right, 1) == plate) {
        ++right;
    }
    EXPECT_GT(right, 60);
    EXPECT_LT(right, 150);
    bool yellow = false;
    for (int y = 1; y < 20; ++y) {
        for (int x = 1; x < right; ++x) {
            yellow = yellow || pixel(x, y) == qRgb(255, 255, 0);
        }
        for (int x = right - 4; x < right; ++x) {
            EXPECT_TRUE(pixel(x, y) == plate || pixel(x, y) == plain) << "text beyond its box";
        }
    }
    EXPECT_TRUE(yellow);
    EXPECT_EQ(pixel(10, 39), plain);
}

TEST(SnapshotStamp, StaysInAPictureThatIsSmallerThanTheText) {
    for (const int size : {1, 2, 7}) {
        Snapshot snapshot{MakeBitmapInfo(size, size), {}};
        snapshot.bits.assign(snapshot.info.biSizeImage, 200);
        AddStringOnBitmapImage(snapshot, "A text wider than the picture");
        EXPECT_EQ(snapshot.bits[BitmapStride(size) * static_cast<std::size_t>(size - 1)], 200);
    }
}

}  // namespace
}  // namespace kvmon
