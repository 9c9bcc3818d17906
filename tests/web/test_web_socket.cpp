// A page's connection: pages that are slow, dead, or talk while a call runs.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QtCore/QEventLoop>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>

#include "support/wait_until.h"
#include "web/web_socket.h"

using namespace kvmon;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// The page's end of the connection.
class WebSocketTest : public testing::Test {
protected:
    WebSocketTest() { EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends_), 0); }
    ~WebSocketTest() override { ::close(ends_[1]); }

    WebSocket::Listener Listener() {
        WebSocket::Listener listener;
        listener.onText = [this](std::string_view text) {
            texts_.emplace_back(text);
            if (onText_) {
                onText_(texts_.back());
            }
        };
        listener.onClosed = [this] { closed_ = true; };
        return listener;
    }
    // All that can be read now.
    std::string Read() const {
        std::string all;
        char bytes[65536];
        for (ssize_t count = 0; (count = ::recv(ends_[1], bytes, sizeof(bytes), 0)) > 0;) {
            all.append(bytes, static_cast<std::size_t>(count));
        }
        return all;
    }
    void Write(WsOpcode opcode, const std::string& payload) const {
        std::string frame{static_cast<char>(0x80 | static_cast<int>(opcode)),
                          static_cast<char>(0x80 | payload.size()),
                          0,
                          0,
                          0,
                          0};
        frame += payload;
        EXPECT_EQ(::send(ends_[1], frame.data(), frame.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(frame.size()));
    }
    template <typename Condition>
    static bool Until(Condition condition) {
        return kvtest::WaitUntil([&] {
            QCoreApplication::processEvents();
            return condition();
        });
    }

    int ends_[2] = {-1, -1};
    std::vector<std::string> texts_;
    std::function<void(const std::string&)> onText_;
    bool closed_ = false;
};

const std::string kPing("\x89\x00", 2);

}  // namespace

TEST_F(WebSocketTest, APageThatAnswersNoPingIsGone) {
    WebSocket socket(ends_[0], "key", Listener(), 40);
    for (int i = 0; i < 3; ++i) {
        std::string got;
        ASSERT_TRUE(Until([&] { return (got += Read()).find(kPing) != std::string::npos; }));
        Write(WsOpcode::Pong, "");
    }
    EXPECT_FALSE(closed_);
    int pings = 0;
    ASSERT_TRUE(Until([&] {
        pings += Read().find(kPing) != std::string::npos ? 1 : 0;
        return closed_;
    }));
    EXPECT_EQ(pings, 1);
}

TEST_F(WebSocketTest, WhatAPageDoesNotReadIsBounded) {
    WebSocket socket(ends_[0], "key", Listener());
    std::size_t most = 0;
    const std::string text(200000, 'x');
    for (int i = 0; i < 1000 && !closed_; ++i) {
        socket.SendText(text);
        most = std::max(most, socket.PendingBytes());
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(Until([&] { return closed_; }));
    EXPECT_LT(most, WebSocket::kMaxPending + text.size() + 100);
}

TEST_F(WebSocketTest, TheLastWordsArrive) {
    {
        WebSocket socket(ends_[0], "key", Listener());
        socket.SendText("OnLogout");
    }
    const std::string got = Read();
    EXPECT_THAT(got, HasSubstr("OnLogout\x88\x02\x03\xE9"));
    EXPECT_FALSE(closed_);
}

TEST_F(WebSocketTest, MessagesBehindALongCallAreHandledMeanwhile) {
    WebSocket socket(ends_[0], "key", Listener());
    QEventLoop loop;
    onText_ = [&](const std::string& text) {
        if (text == "long") {
            QTimer::singleShot(5000, &loop, [&] { loop.exit(1); });
            EXPECT_EQ(loop.exec(), 0);
            texts_.push_back("done");
        } else if (text == "second") {
            loop.quit();
        }
    };
    Write(WsOpcode::Text, "long");
    Write(WsOpcode::Text, "first");
    Write(WsOpcode::Text, "second");
    Write(WsOpcode::Text, "third");
    ASSERT_TRUE(Until([&] { return texts_.size() == 5; }));
    EXPECT_THAT(texts_, ElementsAre("long", "first", "second", "third", "done"));
}

TEST_F(WebSocketTest, APageThatGoesDuringALongCallEndsIt) {
    auto socket = std::make_unique<WebSocket>(ends_[0], "key", Listener());
    QEventLoop loop;
    onText_ = [&](const std::string&) {
        ::shutdown(ends_[1], SHUT_RDWR);
        EXPECT_TRUE(Until([&] { return closed_; }));
    };
    Write(WsOpcode::Text, "long");
    EXPECT_TRUE(Until([&] { return closed_; }));
    socket->SendText("nobody hears it");
    EXPECT_EQ(socket->PendingBytes(), 0u);
}
