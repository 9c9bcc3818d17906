// A camera's multipart reply, byte by byte, and the values in a camera's texts.
#include <gmock/gmock.h>

#include <fstream>

#include "channel/source/stream_source.h"
#include "channel/stream/audio_loop.h"
#include "channel/stream/camera_text.h"
#include "channel/stream/multipart_reader.h"
#include "channel/stream/recorder_kind.h"
#include "memory_source.h"
#include "persist/log_file.h"
#include "stream_bench.h"
#include "support/scripted_server.h"
#include "support/temp_folder.h"

namespace kvmon {
namespace {

using kvtest::MemorySource;

const std::string kPicture = "\xFF\xD8 a picture \xFF\xD9";
const std::string kHeader = "Content-Type: multipart/x-mixed-replace; boundary=--Edge\r\n\r\n";

std::string PartHead(const std::string& length) {
    return "--edge\r\nContent-Type: image/jpeg\r\nCONTENT-Length: " + length + "\r\n\r\n";
}

std::string Part(const std::string& picture = kPicture) {
    return PartHead(std::to_string(picture.size())) + picture + "\r\n\r\n";
}

class Multipart : public kvtest::StreamBench {
protected:
    struct Result {
        std::uint32_t count = 0;
        std::size_t queued = 0;
        std::vector<int> errors;
        std::string trace;
    };

    Multipart() { EXPECT_TRUE(LogFile().Open(folder.File("trace"))); }
    Result Read(const std::string& bytes) {
        MemorySource source(bytes);
        reports.errors.clear();
        Result result;
        result.count = MultipartReader(Sinks(nullptr), control, source).ParseImage();
        result.errors = reports.errors;
        result.queued = TakeAll().size();
        std::ifstream file(folder.File("trace"));
        for (std::string line; std::getline(file, line);) {
            const std::size_t text = line.find('\t');
            result.trace = text == std::string::npos ? line : line.substr(text + 1);
        }
        return result;
    }

    const kvtest::TempFolder folder;
};

TEST_F(Multipart, TakesPicturesUpToTheFirstDisorder) {
    const std::string other = "\xFF\xD8longer than the one before\xFF\xD9";
    EXPECT_EQ(Read(kHeader + Part() + Part(other) + Part()).count, 3u);
    EXPECT_TRUE(decode.run.IsSet());
    EXPECT_EQ(counters.m_nReceived, 3u);
    EXPECT_EQ(counters.m_nBytes, 2 * kPicture.size() + other.size());

    // Another line than the boundary, or a line that is not empty, ends the pass without a report.
    for (const std::string& end :
         {std::string("--edge--\r\n"), std::string("--other\r\n"), std::string("x")}) {
        const Result result = Read(kHeader + Part() + end);
        EXPECT_EQ(result.count, 1u) << end;
        EXPECT_THAT(result.errors, testing::IsEmpty()) << end;
    }
    // What stands between the end mark and the empty line is kept for the line, and makes it no empty one.
    EXPECT_EQ(Read(kHeader + PartHead("15") + kPicture + "x\r\n\r\n" + Part()).count, 1u);
    EXPECT_EQ(Read(kHeader).count, 0u);
}

// Cameras tell their boundary and set their lines in many ways.
TEST_F(Multipart, TakesEveryFormOfBoundary) {
    const std::string longest(70, 'b');
    const struct {
        std::string told;
        std::string line;
    } forms[] = {
        {"boundary=--x", "--x"},
        {"boundary=x", "--x"},
        {"boundary=x", "x"},
        {"boundary=--x", "----x"},
        {"boundary=\"x y:z\"", "--x y:z"},
        {"Boundary=\"--x\"; charset=utf-8", "--x"},
        {"boundary=x; charset=utf-8", "--X"},
        {"boundary=x ", "--x  "},
        {"boundary=" + longest, "--" + longest},
        {"boundary=\"--" + longest + "\"", "--" + longest},
    };
    const std::string part = "\r\nContent-Length: " + std::to_string(kPicture.size()) + "\r\n\r\n" + kPicture;
    for (const auto& [told, line] : forms) {
        const std::string head = "Content-Type: multipart/x-mixed-replace; " + told + "\r\n\r\n";
        for (const char* const between : {"\r\n", "\r\n\r\n", "\r\n\r\n\r\n", "\n"}) {
            const std::string bytes = head + line + part + between + line + part + between;
            EXPECT_EQ(Read(bytes).count, 2u) << told << ", " << line;
            EXPECT_EQ(Read(head + "\r\n" + line + part + between).count, 1u) << told << ", " << line;
        }
        EXPECT_EQ(Read(head + line + part + line + part + "\r\n").count, 1u) << "the line is not ended";
        EXPECT_EQ(Read(head + "--y" + part + "\r\n").count, 0u);
    }
}

TEST_F(Multipart, EachFaultHasItsMessage) {
    const std::string longest(72, 'e');
    const auto withBoundary = [](const std::string& boundary) {
        std::string reply = "Any: boundary=" + boundary + "\r\n\r\n" + Part();
        return reply.replace(reply.find("--edge"), 6, boundary);
    };
    EXPECT_EQ(Read(withBoundary(longest)).count, 1u);

    const std::pair noBoundary{kStreamNoBoundary, "fail to get boundary string..."};
    const std::pair noLength{kStreamNoLength, "fail to get content length..."};
    const std::pair noBuffer{kStreamNoBuffer, "NewDecodeFrame failed..."};
    const std::pair cut{kStreamBodyCut, "ReadJpeg failed..."};
    const std::string size = std::to_string(kPicture.size());
    const struct {
        std::string bytes;
        std::pair<StreamError, const char*> fault;
    } cases[] = {
        {"", noBoundary},
        {"\r\n" + Part(), noBoundary},
        {"boundary=--edge", noBoundary},  // no end of line: the connection ended
        {withBoundary(longest + "e"), noBoundary},
        {kHeader + "--Edge\r\nContent-Type: image/jpeg\r\n\r\n" + kPicture, noLength},
        {kHeader + PartHead("0") + kPicture, noLength},
        {kHeader + PartHead("many") + kPicture, noLength},
        {kHeader + "--Edge\r\n", noLength},
        {kHeader + PartHead("-2") + kPicture, noBuffer},
        {kHeader + PartHead("2000000000") + kPicture, noBuffer},
        {kHeader + PartHead("99999999999999999999") + kPicture, noBuffer},
        {kHeader + PartHead("13") + kPicture + "\r\n\r\n", cut},
        {kHeader + PartHead("200") + kPicture + "\r\n\r\n" + Part(), cut},
        {kHeader + PartHead("200") + "\xFF\xD8 the camera dies", cut},
        {kHeader + PartHead("15") + "\xFF\xD8 \xFF\xD9 thumb \xFF\xD9\r\n\r\n", cut},
        {kHeader + PartHead(size) + std::string(5000, 'x') + "\xFF\xD9\r\n\r\n", cut},
    };
    for (const auto& [bytes, fault] : cases) {
        const Result result = Read(bytes);
        EXPECT_EQ(result.count, 0u) << bytes;
        EXPECT_EQ(result.queued, 0u) << bytes;
        EXPECT_THAT(result.errors, testing::ElementsAre(fault.first)) << bytes;
        EXPECT_EQ(result.trace, "CBaseCamera::ParseImage: m_uCHInMainDlg=3, " + std::string(fault.second))
            << bytes;
    }
    // A stream that the user left is no failed one.
    control.abort = 1;
    EXPECT_THAT(Read("").errors, testing::IsEmpty());
}

TEST_F(Multipart, EndlessHeadersEnd) {
    std::string lines;
    for (int i = 0; i < 1000; ++i) {
        lines += "X: y\r\n";
    }
    EXPECT_THAT(Read(lines + kHeader + Part()).errors, testing::ElementsAre(kStreamNoBoundary));
    EXPECT_THAT(Read(kHeader + "--Edge\r\n" + lines + PartHead("14") + kPicture).errors,
                testing::ElementsAre(kStreamNoLength));
}

TEST(CameraText, GivesAValueThatFits) {
    std::array<char, 6> out{};
    const auto value = [&](std::string_view text, std::string_view key) {
        return GetValueFromText(text, key, out) ? std::string(out.data()) : "none";
    };
    EXPECT_EQ(value("a=1\r\nname=Gate\r\r\nb=2", "name="), "Gate");
    EXPECT_EQ(value("name=12345", "name="), "12345");
    EXPECT_EQ(value("name=123456\n", "name="), "none");
    EXPECT_EQ(value("name=\n", "name="), "");
    EXPECT_EQ(value("Name=x", "name="), "none");
    EXPECT_FALSE(GetValueFromText("name=", "name=", {}));

    std::int32_t number = 7;
    EXPECT_TRUE(GetNumberFromText("Width= 640 px\r\nHeight=480", "HEIGHT=", &number));
    EXPECT_EQ(number, 480);
    EXPECT_TRUE(GetNumberFromText("Width= 640 px\r\n", "width=", &number));
    EXPECT_EQ(number, 640);
    EXPECT_FALSE(GetNumberFromText("Depth=1", "width=", &number));
    EXPECT_FALSE(GetNumberFromText("width=" + std::string(32, '1'), "width=", &number));
    EXPECT_TRUE(GetNumberFromText("width=" + std::string(30, ' ') + "5", "width=", &number));
    EXPECT_EQ(number, 5);
    EXPECT_FALSE(GetNumberFromText("0123456789abcdefg=1", "0123456789abcdefg", &number));
    EXPECT_FALSE(GetNumberFromText("w=1\n" + std::string(2045, ' '), "w=", &number));
    EXPECT_EQ(number, 5);
}

// A make of camera that sends its sound over a connection of its own.
class SoundingKind final : public RecorderKind {
public:
    bool CanStreamFromCamera() const override { return true; }
    int GetAudioCmd(const TargetSettings&, std::span<char> request) const override {
        return std::snprintf(request.data(), request.size(), "GET /sound HTTP/1.0\r\n%s\r\n",
                             std::string(padding, 'x').c_str());
    }
    std::uint32_t ParseAudio(const StreamSource&, const ThreadControl&, ByteSource& source) const override {
        // Behind the status line: the header is the kind's to read.
        std::array<char, 3> bytes{};
        std::uint32_t dwTimeout = 3000;
        return source.ReadBlock(bytes.data(), bytes.size(), &dwTimeout) == 3 && bytes[2] == 'S' ? 9 : 1;
    }
    std::size_t padding = 0;
};

TEST(CameraSound, ComesByItsOwnConnection) {
    std::atomic<int> status{200};
    kvtest::ScriptedServer camera([&](kvtest::Peer& peer) {
        peer.ReadHead();
        peer.Write(kvtest::HttpReply(status, "As told", "S"));
    });
    SoundingKind kind;
    CameraSettings settings;
    settings.m_bMonitorRight = 1;
    settings.m_NetworkSetting[1].szAddress = "127.0.0.1";
    settings.m_NetworkSetting[1].nPort = camera.Port();
    StreamSource source(SystemClock(), kind);
    source.Assign(settings);
    source.m_nNetworkSettingIdx = 3;
    ThreadControl control;
    status = 401;
    EXPECT_EQ(GetAudio(source, control), 0u);
    kind.padding = 700;
    EXPECT_EQ(GetAudio(source, control), 0u) << "the request does not fit";
    EXPECT_THAT(camera.Heads(), testing::ElementsAre(testing::StartsWith("GET /sound ")));
    kind.padding = 0;
    status = 200;
    EXPECT_EQ(GetAudio(source, control), 9u);
    settings.m_NetworkSetting[1].nPort = kvtest::UnusedPort();
    source.Assign(settings);
    EXPECT_EQ(GetAudio(source, control), 0u);
}

}  // namespace
}  // namespace kvmon
