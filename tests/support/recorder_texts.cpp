#include "support/recorder_texts.h"

#include "platform/text.h"

namespace kvtest {

using kvmon::FormatText;

std::string Scramble(const std::string& plain, std::uint32_t key) {
    std::string line = FormatText("%08X", key);
    for (const char c : plain) {
        line += FormatText("%08X", (key & 0xFFFFFF00) | ((key ^ static_cast<unsigned char>(c)) & 0xFF));
    }
    return line + "\r\n";
}

std::string AddressLine(int index, const std::string& id, const std::string& lan, const std::string& wan) {
    return FormatText("%03d%16s%64s%64s", index, id.c_str(), lan.c_str(), wan.c_str());
}

std::string AccountLine(const std::string& user, const std::string& password, int lanPort, int wanPort) {
    return FormatText("%32s%32s%6d%6d", user.c_str(), password.c_str(), lanPort, wanPort);
}

std::string ConcInfoHead(int channels) {
    return FormatText(
        "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\nserver name=Lobby\nversion=3.5.1\n"
        "build=42\nchannel number=%d\n//----------\n",
        channels);
}

std::string ConcInfo(int channels) {
    std::string text = ConcInfoHead(channels);
    for (int i = 0; i < channels; ++i) {
        text += Scramble(AddressLine(i, "0000001200000034", FormatText("10.0.0.%d", i + 1), "cam.example"));
        text += Scramble(AccountLine("root", "secret", 80, 8080));
    }
    return text + "----------//\n";
}

std::string DiskInfo(int channels, const std::string& sections, const std::string& disk) {
    std::string text = "HTTP/1.0 200 OK\r\nServer: x\r\n\r\n" + disk + "\n" + FormatText("%03d", channels);
    for (const char digit : sections) {
        text += std::string(static_cast<std::size_t>(channels), digit);
    }
    text += "\n";
    for (int i = 0; i < channels; ++i) {
        text += FormatText("Door %d\n", i + 1);
    }
    return text;
}

std::string ExtInfo(int channels, int rtspPort) {
    std::string text = FormatText(
        "HTTP/1.0 200 OK\r\nServer: x\r\n\r\nchannel number=%d\nline per channel=1\n"
        "//----------\n",
        channels);
    for (int i = 0; i < channels; ++i) {
        text += Scramble(FormatText("rtsp port=%d", rtspPort));
    }
    return text + "----------//\n";
}

}  // namespace kvtest
