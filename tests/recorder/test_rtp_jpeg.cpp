// JPEG pictures by RTP: their heads stay with the camera, and are made anew in all the ways that cameras tell
// of them.
#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

#include "camera_fixture.h"
#include "scripted_rtsp.h"
#include "wire/frame_header.h"

namespace kvtest {
namespace {

// How a camera codes its pictures, and what it tells of them.
struct Form {
    const char* name;
    int width = 160;
    int height = 96;
    int quality = 255;  // as it is told
    int across = 2;     // so many of brightness to one of colour
    int down = 2;
    unsigned restart = 0;  // after so many blocks
    enum class Size { InPackets, InDescription, InExtension } size = Size::InPackets;
    bool marks = true;   // its last packets
    bool ends = false;   // sends the end mark of pictures
    bool loses = false;  // a packet of each third picture
};

struct Jpeg {
    std::string whole;
    std::string tables;    // as packets tell them
    std::string segments;  // as an extension does
    std::string pixels;    // to the end mark
};

// A slope, over which a bar moves.
std::string Code(const Form& form, int number) {
    jpeg_compress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &data, &size);
    info.image_width = static_cast<JDIMENSION>(form.width);
    info.image_height = static_cast<JDIMENSION>(form.height);
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, form.quality < 100 ? form.quality : 83, TRUE);
    info.comp_info[0].h_samp_factor = form.across;
    info.comp_info[0].v_samp_factor = form.down;
    info.restart_interval = form.restart;
    jpeg_start_compress(&info, TRUE);
    std::vector<unsigned char> row(static_cast<std::size_t>(3 * form.width));
    while (info.next_scanline < info.image_height) {
        for (int x = 0; x < 3 * form.width; ++x) {
            const bool isBar = x / 3 / 16 == number % 10;
            row[static_cast<std::size_t>(x)] = static_cast<unsigned char>(
                isBar ? 250 - 60 * (x % 3) : x + static_cast<int>(info.next_scanline));
        }
        unsigned char* line = row.data();
        jpeg_write_scanlines(&info, &line, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::string coded(reinterpret_cast<char*>(data), size);
    std::free(data);
    return coded;
}

Jpeg Make(const Form& form, int number) {
    Jpeg made;
    made.whole = Code(form, number);
    std::size_t at = 2;
    for (unsigned char code = 0; code != 0xDA;) {
        const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(made.whole[at + i]); };
        code = byte(1);
        const std::size_t size = 2 + (byte(2) << 8 | byte(3));
        if (code == 0xDB) {
            made.tables += made.whole.substr(at + 5, 64);
        }
        if (code == 0xDB || code == 0xC0 || code == 0xDD) {
            made.segments += made.whole.substr(at, size);
        }
        at += size;
    }
    made.pixels = made.whole.substr(at, made.whole.size() - at - (form.ends ? 0 : 2));
    return made;
}

std::string Bytes16(std::size_t value) {
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

void SendPicture(Peer& peer, const Form& form, const Jpeg& jpeg, int number) {
    constexpr std::size_t kPart = 300;
    const bool isTold = form.size == Form::Size::InPackets;
    for (std::size_t at = 0; at < jpeg.pixels.size(); at += kPart) {
        std::string payload(1, '\0');
        payload += static_cast<char>(at >> 16) + Bytes16(at & 0xFFFF);
        payload += static_cast<char>((form.down == 2 ? 1 : 0) + (form.restart > 0 ? 64 : 0));
        payload += static_cast<char>(form.quality);
        payload += static_cast<char>(isTold ? form.width / 8 : 0);
        payload += static_cast<char>(isTold ? form.height / 8 : 0);
        if (form.restart > 0) {
            payload += Bytes16(form.restart) + "\xFF\xFF";
        }
        if (at == 0 && form.quality >= 128) {
            // Those that hold for a quality are told once.
            const bool tells = form.quality == 255 || number == 0;
            payload +=
                std::string(2, '\0') + Bytes16(tells ? jpeg.tables.size() : 0) + (tells ? jpeg.tables : "");
        }
        payload += jpeg.pixels.substr(at, kPart);
        const bool isLast = at + kPart >= jpeg.pixels.size();
        const bool isExtended = at == 0 && form.size == Form::Size::InExtension;
        if (!form.loses || number % 3 != 1 || at != kPart) {
            peer.Write(FramedPacket(kRtspChannel, form.marks && isLast,
                                    static_cast<std::uint32_t>(3600 * number), payload,
                                    isExtended ? "\xFF\xD8" + jpeg.segments : ""));
        }
    }
}

std::string Description(const Form& form) {
    return "m=video 0 RTP/AVP 26\r\na=control:1\r\n" +
           (form.size == Form::Size::InDescription
                ? "a=x-dimensions:" + std::to_string(form.width) + "," + std::to_string(form.height) + "\r\n"
                : std::string());
}

std::vector<Luma> Decoded(const std::string& jpeg) {
    auto packet = std::make_shared<Packet>();
    packet->fourcc = wire::kZIVG;
    packet->key = true;
    packet->data.assign(jpeg.begin(), jpeg.end());
    return Decode({packet});
}

std::string UrlOf(const ScriptedServer& camera) {
    return "rtsp://127.0.0.1:" + std::to_string(camera.Port()) + "/";
}

// Each picture is to the pixel the one that the camera has, and no damaged one comes.
TEST_F(Cameras, PicturesOfJpegGetTheHeadsThatTheyHad) {
    using Size = Form::Size;
    const Form forms[] = {{.name = "tables each time"},
                          {.name = "tables once", .quality = 200},
                          {.name = "a low quality", .quality = 20},
                          {.name = "a high quality", .quality = 95},
                          {.name = "colours of half the width", .down = 1, .ends = true},
                          {.name = "restarts", .restart = 4},
                          {.name = "large", .width = 2064, .height = 48, .size = Size::InDescription},
                          {.name = "in an extension, with all colours",
                           .width = 2064,
                           .height = 48,
                           .across = 1,
                           .down = 1,
                           .restart = 7,
                           .size = Size::InExtension},
                          {.name = "no marks", .marks = false, .ends = true},
                          {.name = "lossy", .loses = true},
                          {.name = "lossy without marks", .marks = false, .ends = true, .loses = true}};
    for (const Form& form : forms) {
        SCOPED_TRACE(form.name);
        std::vector<Jpeg> film;
        std::vector<int> expected;
        for (int i = 0; i < 10; ++i) {
            film.push_back(Make(form, i));
            if (!form.loses || i % 3 != 1) {
                expected.push_back(i);
            }
        }
        const ScriptedServer camera([&](Peer& peer) {
            ServeRtsp(peer, Description(form), [&](Peer& playing) {
                for (int i = 0; i < 10; ++i) {
                    SendPicture(playing, form, film[static_cast<std::size_t>(i)], i);
                }
                playing.Hold();
            });
        });
        const int channel = m_hub->AddChannel("Door", Camera(UrlOf(camera)));
        Collector watcher;
        const auto subscription = m_hub->Subscribe(channel, 0, watcher.Sink());
        // That the last one is whole shows with the one behind it where there are no marks.
        const std::size_t count = expected.size() - (form.marks ? 0 : 1);
        const auto packets = watcher.WaitFor(count);
        ASSERT_GE(packets.size(), count) << testing::PrintToString(Lost());
        for (std::size_t i = 0; i < count; ++i) {
            const auto pictures = Decode({packets[i]});
            ASSERT_EQ(pictures.size(), 1u);
            EXPECT_TRUE(pictures[0].rows ==
                        Decoded(film[static_cast<std::size_t>(expected[i])].whole)[0].rows)
                << i;
            EXPECT_EQ(packets[i]->width, form.width);
            EXPECT_EQ(packets[i]->height, form.height);
        }
    }
}

// No head can be made of what these tell.
TEST_F(Cameras, PicturesOfJpegWithoutASizeOrOfNoKnownKindAreToldInWords) {
    const struct {
        const char* head;
        const char* words;
    } cases[] = {
        {"\0\0\0\0\5\x32\x10\x10", "the camera's codec (jpeg of kind 5) is none that can be passed on"},
        {"\0\0\0\0\1\x32\0\0", "the camera's codec (jpeg of no size) is none that can be passed on"}};
    for (const auto& test : cases) {
        const ScriptedServer camera([&](Peer& peer) {
            ServeRtsp(peer, "m=video 0 RTP/AVP 26\r\na=framesize:26 0-100000\r\n", [&](Peer& playing) {
                playing.Write(FramedPacket(kRtspChannel, true, 0, std::string(test.head, 8) + "pixels"));
                playing.Hold();
            });
        });
        const int channel = m_hub->AddChannel("Door", Camera(UrlOf(camera)));
        Collector watcher;
        const auto subscription = m_hub->Subscribe(channel, 0, watcher.Sink());
        EXPECT_TRUE(WaitLost(test.words)) << testing::PrintToString(Lost());
    }
}

}  // namespace
}  // namespace kvtest
