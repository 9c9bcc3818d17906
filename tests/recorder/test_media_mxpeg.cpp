// MxPEG as the recorder writes it, through the client's decoder.
#include <gtest/gtest.h>

#include <libyuv.h>

#include "codec/mxpeg_adapter.h"
#include "media/matroska_writer.h"
#include "media/mxpeg_writer.h"
#include "media/picture_encoder.h"
#include "media/picture_source.h"
#include "support/temp_folder.h"

namespace {

using kvrecorder::AvPtr;
using kvrecorder::MxpegWriter;

AvPtr<AVFrame> Blank(int width, int height) {
    AvPtr<AVFrame> frame(av_frame_alloc());
    frame->format = AV_PIX_FMT_YUVJ420P;
    frame->width = width;
    frame->height = height;
    EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
    for (int plane = 0; plane < 3; ++plane) {
        const int rows = plane == 0 ? height : (height + 1) / 2;
        for (int y = 0; y < rows; ++y) {
            for (int x = 0; x < frame->linesize[plane]; ++x) {
                frame->data[plane][y * frame->linesize[plane] + x] =
                    static_cast<std::uint8_t>(plane == 0 ? 40 + x / 4 + y / 2 : 118 + 10 * plane);
            }
        }
    }
    return frame;
}

void Paint(AVFrame& frame, int left, int top, int side, std::uint8_t y, std::uint8_t u, std::uint8_t v) {
    const std::uint8_t values[] = {y, u, v};
    for (int plane = 0; plane < 3; ++plane) {
        const int part = plane == 0 ? 1 : 2;
        for (int row = top / part; row < std::min(top + side, frame.height) / part; ++row) {
            for (int x = left / part; x < std::min(left + side, frame.width) / part; ++x) {
                frame.data[plane][row * frame.linesize[plane] + x] = values[plane];
            }
        }
    }
}

// The client's decoder for one stream.
struct Viewer {
    Viewer(int theWidth, int theHeight)
        : width(theWidth), rows(static_cast<std::size_t>(theWidth * theHeight * 3)) {
        EXPECT_TRUE(decoder->Open(theWidth, theHeight));
    }
    bool Show(const std::vector<std::uint8_t>& data) {
        return decoder->DecodeFrame(data, rows, static_cast<std::size_t>(width) * 3);
    }
    const int width;
    std::vector<std::uint8_t> rows;
    const std::unique_ptr<kvmon::CTRMxPEGDecoder> decoder =
        kvmon::CreateMxpegDecoder(kvmon::AvMxpegLibrary());
};

// What a viewer sees of the picture when it is sent whole.
std::vector<std::uint8_t> SentWhole(const AVFrame& picture) {
    MxpegWriter writer(picture.width, picture.height);
    Viewer viewer(picture.width, picture.height);
    EXPECT_TRUE(writer.Write(picture, MxpegWriter::Kind::Whole));
    EXPECT_TRUE(viewer.Show(writer.Data()));
    return viewer.rows;
}

// The mean difference of the decoded pixels to the picture.
double Difference(const AVFrame& picture, const std::vector<std::uint8_t>& rows) {
    std::vector<std::uint8_t> source(rows.size());
    std::vector<std::uint8_t> argb(rows.size() / 3 * 4);
    EXPECT_EQ(libyuv::J420ToARGB(picture.data[0], picture.linesize[0], picture.data[1], picture.linesize[1],
                                 picture.data[2], picture.linesize[2], argb.data(), picture.width * 4,
                                 picture.width, picture.height),
              0);
    double sum = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        sum += std::abs(int{argb[i / 3 * 4 + i % 3]} - int{rows[i]});
    }
    return sum / static_cast<double>(rows.size());
}

// Sizes with and without a rest of a block.
TEST(MediaMxpeg, PartialPicturesPaintWhatAWholeOneWould) {
    for (const auto& [width, height] : {std::pair{352, 240}, std::pair{100, 58}, std::pair{1280, 720}}) {
        MxpegWriter writer(width, height);
        Viewer viewer(width, height);
        std::size_t whole = 0;
        for (int n = 0; n < 12; ++n) {
            const auto picture = Blank(width, height);
            Paint(*picture, 6 * n, 4 * n, 20, 230, 90, 200);
            Paint(*picture, width - 6, height - 6, 6, static_cast<std::uint8_t>(20 * n), 128, 128);
            ASSERT_TRUE(
                writer.Write(*picture, n == 0 ? MxpegWriter::Kind::Whole : MxpegWriter::Kind::Changes));
            EXPECT_EQ(writer.IsWhole(), n == 0);
            whole = n == 0 ? writer.Data().size() : whole;
            EXPECT_TRUE(n == 0 || writer.Data().size() < whole * 2 / 3) << writer.Data().size();
            ASSERT_TRUE(viewer.Show(writer.Data())) << n;
            EXPECT_EQ(viewer.rows, SentWhole(*picture)) << width << "x" << height << " " << n;
            EXPECT_LT(Difference(*picture, viewer.rows), 3.0) << n;
        }
    }
}

TEST(MediaMxpeg, AStillPictureIsSmallAndAnotherSceneWhole) {
    MxpegWriter writer(64, 48);
    Viewer viewer(64, 48);
    const auto picture = Blank(64, 48);
    ASSERT_TRUE(writer.Write(*picture, MxpegWriter::Kind::Changes))
        << "the first is a whole one whatever is asked for";
    EXPECT_TRUE(writer.IsWhole());
    EXPECT_TRUE(viewer.Show(writer.Data()));
    ASSERT_TRUE(writer.Write(*picture, MxpegWriter::Kind::Changes));
    EXPECT_FALSE(writer.IsWhole());
    EXPECT_EQ(writer.Data().size(), 256u) << "shorter ones are refused";
    EXPECT_TRUE(viewer.Show(writer.Data()));
    EXPECT_EQ(viewer.rows, SentWhole(*picture));
    Paint(*picture, 0, 0, 48, 200, 100, 100);
    ASSERT_TRUE(writer.Write(*picture, MxpegWriter::Kind::Changes));
    EXPECT_TRUE(writer.IsWhole());
}

TEST(MediaMxpeg, RecordingsKeepTheWholePictures) {
    const kvtest::TempFolder folder;
    kvrecorder::PictureEncoder encoder({kvrecorder::Codec::Mxpeg, 64, 48, 15, 6});
    std::vector<kvrecorder::PacketPtr> packets;
    for (int n = 0; n < 12; ++n) {
        ASSERT_GE(av_frame_copy(encoder.Picture(), Blank(64, 48).get()), 0);
        Paint(*encoder.Picture(), n, n, 10, 220, 100, 150);
        packets.push_back(encoder.Encode(n, n * 66));
    }
    {
        kvrecorder::MatroskaWriter file(folder.File("m.mkv"), packets[0]);
        for (std::size_t i = 1; i < packets.size(); ++i) {
            file.Write(packets[i]);
        }
    }
    kvrecorder::SourceConfig config;
    config.file = folder.File("m.mkv");
    const auto source = kvrecorder::CreateFileSource(config);
    EXPECT_EQ(source->Streams()[0].codec, kvrecorder::Codec::Mjpeg);
    AVFormatContext* opened = nullptr;
    ASSERT_EQ(avformat_open_input(&opened, config.file.c_str(), nullptr, nullptr), 0);
    const AvPtr<AVFormatContext> input(opened);
    const AvPtr<AVPacket> packet(av_packet_alloc());
    int count = 0;
    for (; av_read_frame(input.get(), packet.get()) == 0; ++count) {
        av_packet_unref(packet.get());
    }
    EXPECT_EQ(count, 2);
}

// The bits of the changed blocks can look like the mark of the picture's end.
TEST(MediaMxpeg, NoEndMarkStandsInTheMask) {
    constexpr int kWidth = 1280;
    constexpr int kHeight = 720;
    constexpr int kColumns = kWidth / 16;
    MxpegWriter writer(kWidth, kHeight);
    Viewer viewer(kWidth, kHeight);
    const auto picture = Blank(kWidth, kHeight);
    ASSERT_TRUE(writer.Write(*picture, MxpegWriter::Kind::Whole));
    ASSERT_TRUE(viewer.Show(writer.Data()));
    for (const int block : {2400, 2401, 2402, 2403, 2404, 2405, 2406, 2407, 2408, 2409, 2411, 2412, 2415}) {
        Paint(*picture, block % kColumns * 16, block / kColumns * 16, 16, 255, 128, 128);
    }
    ASSERT_TRUE(writer.Write(*picture, MxpegWriter::Kind::Changes));
    const std::vector<std::uint8_t> mark = {0xFF, 0xD9};
    const auto& data = writer.Data();
    EXPECT_EQ(std::search(data.begin(), data.end(), mark.begin(), mark.end()), data.end() - 2);
    ASSERT_TRUE(viewer.Show(data));
    EXPECT_EQ(viewer.rows, SentWhole(*picture));
}

}  // namespace
