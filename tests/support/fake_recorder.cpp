#include "support/fake_recorder.h"

#include <algorithm>

#include "platform/text.h"

namespace kvtest {

using kvmon::FormatText;

namespace {

std::vector<FakeChannel> NumberedChannels(int count) {
    std::vector<FakeChannel> channels;
    for (int i = 1; i <= count; ++i) {
        channels.push_back({FormatText("Channel %d", i)});
    }
    return channels;
}

// A scrambled line whose key word is zero.
std::string HexLine(const std::string& text) {
    std::string line = "00000000";
    for (const char c : text) {
        line += FormatText("%08X", static_cast<unsigned char>(c));
    }
    return line + "\r\n";
}

}  // namespace

FakeRecorder::FakeRecorder(std::string name, std::vector<FakeChannel> channels)
    : name_(std::move(name)),
      channels_(std::move(channels)),
      server_(std::make_unique<ScriptedServer>([this](Peer& peer) { Serve(peer); })) {}

FakeRecorder::FakeRecorder(std::string name, int channelCount)
    : FakeRecorder(std::move(name), NumberedChannels(channelCount)) {}

FakeRecorder::~FakeRecorder() {
    stopping_ = true;
    changed_.notify_all();
    server_.reset();
}

void FakeRecorder::SetChannels(std::vector<FakeChannel> channels) {
    const std::lock_guard lock(mutex_);
    channels_ = std::move(channels);
}

void FakeRecorder::SetName(const std::string& name) {
    const std::lock_guard lock(mutex_);
    name_ = name;
}

void FakeRecorder::Notify(const std::string& line) {
    const std::lock_guard lock(mutex_);
    pushed_ = line;
    ++pushCount_;
    changed_.notify_all();
}

bool FakeRecorder::WaitForListener() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10), [this] { return listeners_ > 0; });
}

int FakeRecorder::CountHeads(const std::string& text) const {
    const std::vector<std::string> heads = server_->Heads();
    return static_cast<int>(std::count_if(heads.begin(), heads.end(), [&](const std::string& head) {
        return head.find(text) != std::string::npos;
    }));
}

std::vector<std::string> FakeRecorder::RequestLines(const std::string& text) const {
    std::vector<std::string> lines;
    for (const std::string& head : server_->Heads()) {
        if (head.find(text) != std::string::npos) {
            lines.push_back(head.substr(0, head.find('\r')));
        }
    }
    return lines;
}

void FakeRecorder::SetDocument(const std::string& key, std::string reply) {
    const std::lock_guard lock(mutex_);
    std::erase_if(documents_, [&](const auto& document) { return document.first == key; });
    documents_.emplace_back(key, std::move(reply));
}

void FakeRecorder::SetDisk(const std::string& line) {
    const std::lock_guard lock(mutex_);
    disk_ = line;
}

void FakeRecorder::AnswerAll(std::string reply) {
    const std::lock_guard lock(mutex_);
    answerAll_ = std::move(reply);
}

std::string FakeRecorder::AnswerToAll() const {
    const std::lock_guard lock(mutex_);
    return answerAll_;
}

std::string FakeRecorder::Document(const std::string& head) const {
    const std::lock_guard lock(mutex_);
    for (const auto& [key, reply] : documents_) {
        if (head.find(key) != std::string::npos) {
            return reply;
        }
    }
    return HttpReply(404, "Not Found", "");
}

void FakeRecorder::Serve(Peer& peer) {
    const std::string head = peer.ReadHead();
    const auto asks = [&](const char* what) { return head.find(what) != std::string::npos; };
    if (silent_) {
        peer.Hold();
    } else if (const std::string reply = AnswerToAll(); !reply.empty()) {
        peer.Write(reply);
    } else if (refuse_) {
        peer.Write(HttpReply(401, "Unauthorized", ""));
    } else if (asks("get_init_info.cgi")) {
        peer.Write(HttpReply(200, "OK", InitInfo()));
    } else if (asks("get_ext_info.cgi")) {
        peer.Write(HttpReply(200, "OK", ExtInfo()));
    } else if (asks("z_status.cgi")) {
        peer.Write(HttpReply(200, "OK", Status()));
    } else if (asks("group=System")) {
        peer.Write(TimeReply());
    } else if (asks("notify.cgi")) {
        ServeNotify(peer);
    } else if (asks("getstream.cgi")) {
        ++streamRequests_;
        peer.Write(Stream());
        peer.Hold();
    } else {
        peer.Write(Document(head));
    }
}

void FakeRecorder::SetTime(const std::string& digits) {
    const std::lock_guard lock(mutex_);
    time_ = digits;
}

void FakeRecorder::SetStream(std::string reply) {
    const std::lock_guard lock(mutex_);
    stream_ = std::move(reply);
}

std::string FakeRecorder::Stream() const {
    const std::lock_guard lock(mutex_);
    return stream_;
}

std::string FakeRecorder::TimeReply() const {
    const std::lock_guard lock(mutex_);
    return time_.empty() ? HttpReply(404, "Not Found", "")
                         : "HTTP/1.0 200 OK\nX: y\n\n<date_time>" + time_ + "</date_time>\n";
}

void FakeRecorder::ServeNotify(Peer& peer) {
    std::unique_lock lock(mutex_);
    int sent = pushCount_;
    ++listeners_;
    changed_.notify_all();
    lock.unlock();
    bool open = peer.Write("HTTP/1.0 200 OK\r\n");
    while (open && !stopping_) {
        lock.lock();
        changed_.wait_for(lock, std::chrono::milliseconds(20), [&] { return pushCount_ != sent; });
        const std::string line = pushCount_ != sent ? pushed_ : std::string();
        sent = pushCount_;
        lock.unlock();
        open = line.empty() ? !peer.WaitClosed(milliseconds(1)) : peer.Write(line);
    }
    lock.lock();
    --listeners_;
}

std::string FakeRecorder::InitInfo() const {
    const std::lock_guard lock(mutex_);
    std::string text = "server name=" + name_ + "\nversion=1.2.3\nbuild=45\n";
    text += FormatText("channel number=%d\n//----------\n", static_cast<int>(channels_.size()));
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        const int camera = channels_[i].cameraPort;
        const char* const make = camera != 0 ? "0000000000000001" : "0000000100000001";
        const char* const address = camera != 0 ? "127.0.0.1" : channels_[i].configured ? "10.0.0.1" : "";
        const int port = camera != 0 ? camera : 80;
        text += HexLine(FormatText("%03d%16s%64s%64s", static_cast<int>(i), make, address, ""));
        text += HexLine(FormatText("%32s%32s%6d%6d", "user", "word", port, port));
    }
    return text + "----------//\n";
}

std::string FakeRecorder::ExtInfo() const {
    const std::lock_guard lock(mutex_);
    std::string text = FormatText("channel number=%d\n", static_cast<int>(channels_.size()));
    text += "lines of channel=2\n//----------\n";
    for (const FakeChannel& channel : channels_) {
        text += HexLine("rtsp port=554");
        text += HexLine(channel.cameraPort != 0 ? "http_video_url=/video.mjpg" : "http_video_url=");
    }
    return text + "----------//\n";
}

std::string FakeRecorder::Status() const {
    const std::lock_guard lock(mutex_);
    const std::size_t count = channels_.size();
    std::string text = disk_ + "\n" + FormatText("%03d", static_cast<int>(count));
    text += std::string(count, '0') + std::string(count, '0') + std::string(count, '0');
    text += std::string(count, '0');
    for (const FakeChannel& channel : channels_) {
        text += channel.right ? '1' : '0';
    }
    text += '\n';
    for (const FakeChannel& channel : channels_) {
        text += channel.name + "\n";
    }
    return text;
}

}  // namespace kvtest
