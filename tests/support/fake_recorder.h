// A recorder that speaks the documents and leaves its streams silent.
#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/scripted_server.h"

namespace kvtest {

struct FakeChannel {
    std::string name;
    bool right = true;
    bool configured = true;
    std::uint16_t cameraPort = 0;  // not 0: of no maker, with its pictures at /video.mjpg of this port
};

class FakeRecorder {
public:
    FakeRecorder(std::string name, std::vector<FakeChannel> channels);
    // Channels named "Channel 1" and so on.
    FakeRecorder(std::string name, int channelCount);
    ~FakeRecorder();

    std::uint16_t Port() const { return server_->Port(); }
    void SetChannels(std::vector<FakeChannel> channels);
    void SetName(const std::string& name);
    // Answers requests that hold the key with this reply, head and all.
    void SetDocument(const std::string& key, std::string reply);
    void SetDisk(const std::string& line);
    // The request lines that hold this text.
    std::vector<std::string> RequestLines(const std::string& text) const;
    // Every request is answered with 401 from now on.
    void RefuseLogins(bool refuse) { refuse_ = refuse; }
    // Every request gets this reply from now on, head and all. Empty: as before.
    void AnswerAll(std::string reply);
    // What each stream brings, head and all, before it falls silent.
    void SetStream(std::string reply);
    // Requests are read and never answered.
    void GoSilent() { silent_ = true; }
    // Answers questions for the time: fourteen digits. Without one they fail.
    void SetTime(const std::string& digits);
    // Sends a line down every notification connection.
    void Notify(const std::string& line);
    // Waits until someone sits in the notification connection.
    bool WaitForListener();
    int StreamRequestCount() const { return streamRequests_; }
    // How many requests hold this text.
    int CountHeads(const std::string& text) const;

private:
    void Serve(Peer& peer);
    void ServeNotify(Peer& peer);
    std::string TimeReply() const;
    std::string Stream() const;
    std::string InitInfo() const;
    std::string ExtInfo() const;
    std::string Status() const;
    std::string Document(const std::string& head) const;
    std::string AnswerToAll() const;

    std::string name_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<FakeChannel> channels_;
    std::string time_;
    std::string pushed_;
    std::vector<std::pair<std::string, std::string>> documents_;
    std::string answerAll_;
    std::string stream_;
    std::string disk_ = "0    45  1048576";
    int pushCount_ = 0;
    int listeners_ = 0;
    std::atomic<bool> refuse_{false};
    std::atomic<bool> silent_{false};
    std::atomic<bool> stopping_{false};
    std::atomic<int> streamRequests_{0};
    std::unique_ptr<ScriptedServer> server_;  // last: its threads use the rest
};

}  // namespace kvtest
