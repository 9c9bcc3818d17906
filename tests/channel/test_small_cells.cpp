// What is decoded for a cell in which a picture is no larger than an icon.
#include <gmock/gmock.h>

#include <QtWidgets/QWidget>
#include <utility>

#include "channel/base/channel_globals.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "film.h"
#include "stream_maker.h"
#include "support/camera_maker.h"
#include "support/qt_pump.h"

namespace kvmon {
namespace {

using kvtest::PumpUntil;

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr std::size_t kCount = 30;  // of three in a row, two are referred to by none

struct SmallKind {
    const char* encoder;
    std::uint32_t fourcc;
    std::size_t most;  // that are made of kCount: one encoder refers to some of those between, too
};

std::vector<std::string> RecordsOf(const SmallKind& kind) {
    kvtest::StreamMaker maker(kind.encoder, kWidth, kHeight, 1000, 2);
    std::vector<std::string> records;
    for (const kvtest::Unit& unit : maker.All(2 * kCount + 1)) {
        records.push_back(kvtest::VideoRecord(kind.fourcc, unit.key, kWidth, kHeight, unit.bytes));
    }
    return records;
}

class SmallCell : public testing::TestWithParam<SmallKind> {
protected:
    ~SmallCell() override {
        Globals().fewerInSmallCells = false;
        cell.SetCamera(nullptr);
    }
    void Open(const QSize& size) {
        window.resize(400, 300);
        cell.resize(size);
        window.show();
        cell.SetCamera(camera);
        camera->StartCameraThreads();
        camera->StartPlaying(PlaySound::No);
    }
    // One after the other, so that none is thrown away.
    void Play(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            film.SendTo(++m_sent);
            ASSERT_TRUE(PumpUntil([&] { return camera->GetStatistics().received == m_sent; }));
        }
    }
    std::uint64_t Decoded() const { return camera->GetStatistics().decoded; }

    kvtest::Film film{RecordsOf(GetParam())};
    std::shared_ptr<CBaseCamera> camera = kvtest::MakeCamera(kvtest::SettingsOf(5, film.Port()));
    QWidget window;
    CVideoWnd cell{&window};

private:
    std::uint64_t m_sent = 0;
};

TEST_P(SmallCell, LeavesOutWhatNoOtherPictureNeedsUntilItGrows) {
    Globals().fewerInSmallCells = true;
    Open({130, 110});
    Play(kCount + 1);
    EXPECT_TRUE(PumpUntil([&] { return Decoded() >= kCount / 3 - 1; }));
    EXPECT_LE(Decoded(), GetParam().most);
    EXPECT_EQ(camera->GetStatistics().failed, 0u);
    cell.resize(300, 200);
    const std::uint64_t small = Decoded();
    Play(kCount);
    EXPECT_TRUE(PumpUntil([&] { return Decoded() >= small + kCount - 3; }));
}

TEST_P(SmallCell, UnlessItIsWantedAllAreDecoded) {
    Open({130, 110});
    Play(kCount);
    EXPECT_TRUE(PumpUntil([&] { return Decoded() >= kCount - 3; }));
}

INSTANTIATE_TEST_SUITE_P(Codecs, SmallCell,
                         testing::Values(SmallKind{"libx264", wire::kZ264, 2 * kCount / 3},
                                         SmallKind{"mpeg4", wire::kZMP4, kCount / 3 + 1}),
                         [](const auto& kind) { return std::string(kind.param.encoder); });

}  // namespace
}  // namespace kvmon
