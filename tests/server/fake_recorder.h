// A recorder for tests: documents by path, and the texts of such documents.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "platform/text.h"
#include "support/scripted_server.h"

namespace kvtest {

using kvmon::FormatText;

// A line as recorders scramble it: a key word and one word a character, in hexadecimal.
inline std::string Scramble(const std::string& plain, std::uint32_t key = 0x5A17C3E9) {
    std::string line = FormatText("%08X", key);
    for (const char c : plain) {
        line += FormatText("%08X", (key & 0xFFFFFF00) | ((key ^ static_cast<unsigned char>(c)) & 0xFF));
    }
    return line + "\r\n";
}

inline std::string AddressLine(int index, const std::string& id, const std::string& lan,
                               const std::string& wan) {
    return FormatText("%03d%16s%64s%64s", index, id.c_str(), lan.c_str(), wan.c_str());
}

inline std::string AccountLine(const std::string& user, const std::string& password, int lanPort,
                               int wanPort) {
    return FormatText("%32s%32s%6d%6d", user.c_str(), password.c_str(), lanPort, wanPort);
}

inline std::string ConcInfoHead(int channels) {
    return FormatText(
        "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\nserver name=Lobby\nversion=3.5.1\n"
        "build=42\nchannel number=%d\n//----------\n",
        channels);
}

inline std::string ConcInfo(int channels) {
    std::string text = ConcInfoHead(channels);
    for (int i = 0; i < channels; ++i) {
        text += Scramble(AddressLine(i, "0000001200000034", FormatText("10.0.0.%d", i + 1), "cam.example"));
        text += Scramble(AccountLine("root", "secret", 80, 8080));
    }
    return text + "----------//\n";
}

// `sections` for each of the five: all channels alike.
inline std::string DiskInfo(int channels, const std::string& sections = "00001",
                            const std::string& disk = "0000 034 976762584") {
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

inline std::string ExtInfo(int channels, int rtspPort = 554) {
    std::string text = FormatText(
        "HTTP/1.0 200 OK\r\nServer: x\r\n\r\nchannel number=%d\nline per channel=1\n"
        "//----------\n",
        channels);
    for (int i = 0; i < channels; ++i) {
        text += Scramble(FormatText("rtsp port=%d", rtspPort));
    }
    return text + "----------//\n";
}

// Answers each request by the first entry whose key the request's first line holds; 404 without one.
class FakeRecorder {
public:
    using Handler = std::function<void(Peer&)>;

    FakeRecorder() : server_([this](Peer& peer) { Serve(peer); }) {}

    void On(const std::string& key, Handler handler) {
        const std::lock_guard lock(mutex_);
        handlers_[key] = std::move(handler);
    }
    void Answer(const std::string& key, const std::string& reply) {
        On(key, [reply](Peer& peer) { peer.Write(reply); });
    }
    // The three documents.
    void AnswerAll(int channels) {
        Answer("get_init_info.cgi", ConcInfo(channels));
        Answer("z_status.cgi", DiskInfo(channels));
        Answer("get_ext_info.cgi", ExtInfo(channels));
    }

    ScriptedServer& Server() { return server_; }
    std::uint16_t Port() const { return server_.Port(); }
    // Requests so far that hold the key.
    int Count(const std::string& key) const {
        int count = 0;
        for (const std::string& head : server_.Heads()) {
            count += head.find(key) != std::string::npos ? 1 : 0;
        }
        return count;
    }

private:
    void Serve(Peer& peer) {
        const std::string head = peer.ReadHead();
        Handler handler;
        {
            const std::lock_guard lock(mutex_);
            for (const auto& [key, candidate] : handlers_) {
                if (head.substr(0, head.find('\r')).find(key) != std::string::npos) {
                    handler = candidate;
                    break;
                }
            }
        }
        if (handler) {
            handler(peer);
        } else {
            peer.Write(HttpReply(404, "Not Found", ""));
        }
    }

    std::mutex mutex_;
    std::map<std::string, Handler> handlers_;
    ScriptedServer server_;
};

}  // namespace kvtest
