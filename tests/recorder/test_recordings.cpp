// Manual recording: files that play, whatever happens to the recorder, the disk or the source.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <mutex>
#include <new>

#include "content/coded_pictures.h"
#include "media_tools.h"
#include "service_fixture.h"
#include "support/temp_folder.h"

namespace kvtest {
namespace {

namespace fs = std::filesystem;

constexpr StreamConfig kRecordedStream{Codec::H264, 320, 240, 10, 10};

// What a player finds in a file.
struct Probe {
    AVCodecID codec = AV_CODEC_ID_NONE;
    int width = 0;
    double seconds = 0;
    std::vector<std::vector<std::uint8_t>> packets;
};

Probe ProbeFile(const fs::path& path) {
    Probe probe;
    AVFormatContext* context = nullptr;
    if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) < 0) {
        return probe;
    }
    const AvPtr<AVFormatContext> file(context);
    avformat_find_stream_info(context, nullptr);
    probe.codec = context->streams[0]->codecpar->codec_id;
    probe.width = context->streams[0]->codecpar->width;
    probe.seconds = static_cast<double>(context->duration) / AV_TIME_BASE;
    const AvPtr<AVPacket> packet(av_packet_alloc());
    while (av_read_frame(context, packet.get()) >= 0) {
        probe.packets.emplace_back(packet->data, packet->data + packet->size);
        av_packet_unref(packet.get());
    }
    return probe;
}

// As a camera sends them; nothing of ours makes any.
std::vector<PacketPtr> H265Pictures(int count) {
    CodingOptions options;
    options.frames = count;
    std::vector<PacketPtr> packets;
    for (const CodedUnit& unit : EncodeMovingPictures(Coding::H265, 320, 240, options)) {
        Packet packet;
        packet.fourcc = wire::kZ265;
        packet.key = unit.key;
        packet.width = 320;
        packet.height = 240;
        packet.timeMs = static_cast<std::int64_t>(packets.size()) * 100;
        packet.data = unit.bytes;
        packets.push_back(std::make_shared<const Packet>(std::move(packet)));
    }
    return packets;
}

class RecordingTest : public ServiceTest {
protected:
    RecordingTest() {
        config.server.recording.folder = folder.File("rec");
        config.users[1].rights[static_cast<std::size_t>(Right::Monitor)].set(0);
    }
    std::string Act(bool on, int channel = 0) {
        return Ask("/cgi-bin/mrec.cgi?ch=" + std::to_string(channel) + "&act=" + (on ? "1" : "0")).body;
    }
    bool Shown(const char* flag, std::size_t channel = 0) {
        const StatusFlag& found = *FindStatusFlag(flag);
        return (model->Current()->channels[channel].config.status[found.section] & found.bit) != 0;
    }
    bool Logged(const std::string& words) {
        return WaitUntil([&] {
            for (const Event& event : model->Events().Latest(std::chrono::hours(1))) {
                if (event.text.find(words) != std::string::npos) {
                    return true;
                }
            }
            return false;
        });
    }
    void PushAll(const std::vector<PacketPtr>& packets) {
        for (const PacketPtr& packet : packets) {
            hub->Push(0, 0, packet);
        }
    }
    std::vector<fs::path> Files() {
        std::error_code error;
        std::vector<fs::path> files;
        for (const auto& entry : fs::directory_iterator(config.server.recording.folder, error)) {
            files.push_back(entry.path());
        }
        std::sort(files.begin(), files.end());
        return files;
    }

    TempFolder folder;
};

TEST_F(RecordingTest, FilesHoldTheStreamAsItIsAndPlayWithoutTheirEnd) {
    Start();
    // Status line, two lines, a blank one, and the words that clients look for.
    RecorderClient client(port);
    client.Send(Get("/cgi-bin/mrec.cgi?ch=0&act=1"));
    const std::string head = client.ReadHead();
    EXPECT_EQ(std::count(head.begin(), head.end(), '\n'), 4);
    EXPECT_EQ(client.ReadLine(), "OK\n");
    EXPECT_TRUE(Shown("record") && Shown("manual"));
    EXPECT_TRUE(Act(true).starts_with("OK")) << "once more changes nothing";

    const auto packets = EncodeTestPictures(kRecordedStream, 45);
    PushAll(packets);
    ASSERT_TRUE(WaitUntil([&] { return Files().size() == 1 && fs::file_size(Files()[0]) > 10'000; }));
    // As a crash would leave it: clusters of a second are on the disk.
    const fs::path torn = folder.File("torn.mkv");
    ASSERT_TRUE(WaitUntil([&] {
        fs::copy_file(Files()[0], torn, fs::copy_options::overwrite_existing);
        return ProbeFile(torn).packets.size() >= 30;
    }));
    EXPECT_EQ(ProbeFile(torn).codec, AV_CODEC_ID_H264);

    EXPECT_TRUE(Act(false).starts_with("OK"));
    EXPECT_FALSE(Shown("record") || Shown("manual"));
    ASSERT_TRUE(Logged("recording ended after 4 s"));
    const Probe probe = ProbeFile(Files()[0]);
    EXPECT_EQ(probe.codec, AV_CODEC_ID_H264);
    EXPECT_EQ(probe.width, 320);
    EXPECT_NEAR(probe.seconds, 4.5, 0.1);
    ASSERT_EQ(probe.packets.size(), packets.size());
    // Each unit of an access unit is the same bytes, behind a length in place of a start code.
    for (std::size_t i = 0; i < packets.size(); ++i) {
        const auto units = NalUnits(packets[i]->data);
        const std::string written(probe.packets[i].begin(), probe.packets[i].end());
        for (const std::string& unit : units) {
            EXPECT_NE(written.find(unit), std::string::npos) << i;
        }
    }
}

TEST_F(RecordingTest, EachCodecHasItsPlaceAndAnotherSourceAnotherFile) {
    Start();
    Act(true);
    PushAll(EncodeTestPictures(kRecordedStream, 12));
    PushAll(EncodeTestPictures({Codec::Mpeg4, 320, 240, 10, 10}, 12));
    PushAll(H265Pictures(12));
    PushAll(EncodeTestPictures({Codec::Mjpeg, 160, 120, 10, 1}, 12));
    config.channels[0].source.scene = "aquarium";
    EXPECT_EQ(model->Reload(config), "");
    PushAll(EncodeTestPictures({Codec::Mjpeg, 160, 120, 10, 1}, 12));
    service.reset();
    model.reset();  // the recorder ends its files when it ends
    std::vector<AVCodecID> codecs;
    for (const fs::path& file : Files()) {
        const Probe probe = ProbeFile(file);
        codecs.push_back(probe.codec);
        EXPECT_EQ(probe.width, probe.codec == AV_CODEC_ID_MJPEG ? 160 : 320) << file;
        EXPECT_EQ(probe.packets.size(), 12u) << file;
        EXPECT_NEAR(probe.seconds, 1.2, 0.1) << file;
    }
    std::sort(codecs.begin(), codecs.end());
    std::vector<AVCodecID> wanted = {AV_CODEC_ID_H264, AV_CODEC_ID_MPEG4, AV_CODEC_ID_HEVC, AV_CODEC_ID_MJPEG,
                                     AV_CODEC_ID_MJPEG};
    std::sort(wanted.begin(), wanted.end());
    EXPECT_EQ(codecs, wanted);
}

// What tells it to the user needs memory, of which there may be none at that moment.
TEST_F(RecordingTest, AnEndThatCannotBeToldIsToldAgain) {
    std::mutex mutex;
    std::vector<std::string> told;
    RecordingConfig where = config.server.recording;
    where.folder = folder.File("again");
    Recordings recordings(*hub, where, [&](const Recordings::Notice& notice) {
        const std::lock_guard lock(mutex);
        told.push_back(std::to_string(notice.channel) + notice.problem);
        if (told.size() == 1) {
            throw std::bad_alloc();
        }
    });
    ASSERT_EQ(recordings.Start(0), "");
    recordings.Stop(0);
    EXPECT_TRUE(WaitUntil([&] {
        const std::lock_guard lock(mutex);
        return told.size() == 2;
    }));
    EXPECT_THAT(told, testing::Each("0"));
}

TEST_F(RecordingTest, DiskAndRightsAreHeeded) {
    fs::create_directories(config.server.recording.folder);
    const std::string old = config.server.recording.folder + "/camera-001-20200101-000000.mkv";
    const std::string foreign = config.server.recording.folder + "/holiday.mkv";
    for (const std::string& path : {old, foreign}) {
        std::ofstream(path) << std::string(3 << 20, 'x');
        fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(1));
    }
    config.server.recording.limitMb = 2;
    Start();
    EXPECT_EQ(Ask("/cgi-bin/mrec.cgi?ch=0&act=1", "guard:night").status, 403);
    EXPECT_EQ(Ask("/cgi-bin/mrec.cgi?ch=0&act=2").status, 400);
    EXPECT_EQ(Ask("/cgi-bin/mrec.cgi?ch=7&act=1").status, 404);

    Act(true);
    const auto packets = EncodeTestPictures(kRecordedStream, 40);
    hub->Push(0, 0, packets[0]);
    ASSERT_TRUE(WaitUntil([&] { return !fs::exists(old); })) << "the oldest makes room";
    EXPECT_TRUE(fs::exists(foreign));
    EXPECT_EQ(model->SetDiskFault(DiskFault::Full), "");
    PushAll(packets);
    ASSERT_TRUE(Logged("recording failed, the disk is full"));
    ASSERT_TRUE(WaitUntil([&] { return !Shown("record"); }));
    EXPECT_EQ(hub->Watchers(), 0u);
    EXPECT_TRUE(Act(true).starts_with("NG the disk is full"));
    EXPECT_FALSE(Shown("record"));
    model->SetDiskFault(DiskFault::None);
    EXPECT_TRUE(Act(true).starts_with("OK"));
    EXPECT_EQ(model->Remove(0), "");
    EXPECT_TRUE(WaitUntil([&] { return hub->Watchers() == 0; })) << "no camera, no recording";
}

}  // namespace
}  // namespace kvtest
