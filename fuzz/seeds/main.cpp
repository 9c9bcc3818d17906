// Writes a first corpus for the targets whose input no fuzzer finds by itself: FOLDER/NAME/...
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

#include "content/coded_pictures.h"
#include "wire/frame_header.h"

namespace {

using kvtest::CodedUnit;
using kvtest::Coding;

constexpr int kWidth = 176;
constexpr int kHeight = 98;

std::string Word(std::uint32_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text += static_cast<char>(value >> (8 * i));
    }
    return text;
}

std::string Text(const CodedUnit& unit) {
    return {unit.bytes.begin(), unit.bytes.end()};
}

std::string Record(std::uint32_t code, const CodedUnit& unit) {
    std::string head = Word(code, 4) + Word(unit.key ? 1 : 0, 4) + Word(kWidth, 4) + Word(kHeight, 4);
    head.resize(wire::kReservedOffset);
    return head + Word(0, 4) + Word(static_cast<std::uint32_t>(unit.bytes.size()), 4) + Text(unit);
}

void Write(const std::filesystem::path& folder, const std::string& name, const std::string& bytes) {
    std::filesystem::create_directories(folder);
    std::ofstream(folder / name, std::ios::binary) << bytes;
}

// A list of values in which every kind comes up.
std::string Nonsense(std::uint32_t state) {
    std::string bytes;
    while (bytes.size() < 1500) {
        state = state * 1664525 + 1013904223;
        bytes += static_cast<char>(state >> 24);
    }
    return bytes;
}

void WriteSeeds(const std::filesystem::path& folder) {
    kvtest::CodingOptions options;
    options.frames = 3;
    options.keyInterval = 2;
    options.bitrate = 100'000;
    const struct {
        Coding coding;
        const char* name;
        std::uint32_t code;
    } kinds[] = {{Coding::H264, "h264", wire::kZ264},
                 {Coding::Mpeg4, "mpeg4", wire::kZMP4},
                 {Coding::Mjpeg, "mjpeg", wire::kZIVG}};
    for (const auto& kind : kinds) {
        std::string units(1, kind.coding == Coding::Mpeg4 ? '\1' : '\0');
        std::string records = "\r\n";  // the end of a reply's head
        for (const CodedUnit& unit : kvtest::EncodeMovingPictures(kind.coding, kWidth, kHeight, options)) {
            units += Word(static_cast<std::uint32_t>(unit.bytes.size()), 2) + Text(unit);
            records += Record(kind.code, unit);
            if (kind.coding == Coding::Mjpeg) {
                Write(folder / "jpeg", "picture", Text(unit));
            }
        }
        if (kind.coding != Coding::Mjpeg) {
            Write(folder / "video", kind.name, units);
        }
        Write(folder / "stream_records", kind.name, records);
    }
    const std::string part = "--edge\r\nContent-Length: 9\r\n\r\n\xFF\xD8 text\xFF\xD9\r\n\r\n";
    Write(folder / "multipart", "parts", "X: boundary=--edge\r\n\r\n" + part + part);
    Write(folder / "http_head", "ok", "HTTP/1.0 200 OK\r\n");
    for (std::uint32_t i = 1; i <= 8; ++i) {
        Write(folder / "stored_tree", "nonsense" + std::to_string(i), Nonsense(i));
    }
    Write(folder / "base64", "auth", "YWRtaW46YWRtaW4=");
    Write(folder / "xml_document", "streams",
          "<?xml version='1.0'?><!-- c --><r "
          "a='1'><return>0</return><ch0><stream_no>1</stream_no><stream0><id>0"
          "</id><fcc>H264</fcc><resolution>3</resolution></stream0></ch0><c><![CDATA[<x>]]></c><e/>&lt;</r>");
    Write(folder / "xml_document", "events",
          "<num>1</num>\n<info>\n<level>2</level>\n<date_time>2024-01-02 03:04:05</date_time>\n"
          "<msg>text</msg>\n</info>\n");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_fuzz_seeds FOLDER\n");
        return 2;
    }
    try {
        WriteSeeds(argv[1]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_fuzz_seeds: %s\n", error.what());
        return 1;
    }
    return 0;
}
