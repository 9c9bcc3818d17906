// Who looks for recorders on the network, and who misuses that.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "connections/search_port.h"
#include "recorder_program.h"
#include "service/options.h"
#include "service_fixture.h"
#include "support/search_beacon.h"
#include "wire/recorder_search.h"

namespace kvtest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Asks the group on the loopback network.
class Asker {
public:
    explicit Asker(std::uint16_t port) : m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in own{};
        own.sin_family = AF_INET;
        own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::bind(m_socket, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) {
            throw std::runtime_error("no port");
        }
        ::setsockopt(m_socket, IPPROTO_IP, IP_MULTICAST_IF, &own.sin_addr, sizeof own.sin_addr);
        m_to.sin_family = AF_INET;
        m_to.sin_port = htons(port);
        ::inet_pton(AF_INET, wire::kSearchGroup, &m_to.sin_addr);
    }
    ~Asker() { ::close(m_socket); }
    Asker(const Asker&) = delete;

    void Ask(const std::string& question) {
        ::sendto(m_socket, question.data(), question.size(), 0, reinterpret_cast<const sockaddr*>(&m_to),
                 sizeof m_to);
    }
    // "" when none comes.
    std::string Answer(int milliseconds) {
        pollfd wait{m_socket, POLLIN, 0};
        if (::poll(&wait, 1, milliseconds) <= 0) {
            return "";
        }
        std::string buffer(1024, '\0');
        const ssize_t count = ::recv(m_socket, buffer.data(), buffer.size(), 0);
        buffer.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return buffer;
    }

private:
    const int m_socket;
    sockaddr_in m_to{};
};

class SearchPortTest : public ServiceTest {
protected:
    SearchPortTest() { options.searchAddress = "127.0.0.1"; }
};

}  // namespace

TEST_F(SearchPortTest, TellsItsNameAndPortAndIsSilentToAllElse) {
    Start();
    Asker asker(service->SearchPort());
    // These come first, so that an answer to any of them would come first, too.
    for (const std::string& other :
         {std::string("KVFIND1?12345678"), RecorderQuestion("12345678") + "x",
          RecorderQuestion("12345678").substr(1) + "x", RecorderAnswer("12345678", std::string(301, 'x'), 1),
          std::string(), std::string(9000, '?')}) {
        asker.Ask(other);
    }
    asker.Ask(
        RecorderQuestion("\x01\xFF\r\n\x7F"
                         "abc"));
    EXPECT_EQ(asker.Answer(10'000), RecorderAnswer("\x01\xFF\r\n\x7F"
                                                   "abc",
                                                   "North \xC3\xA9", port));
    EXPECT_EQ(model->Current()->server.name, "North \xC3\xA9");
    service->Stop();
}

// As somebody would who asks in the name of one that is to be flooded.
TEST_F(SearchPortTest, IsNoUseForAFlood) {
    config.server.name = std::string(254, 'x') + "\xC3\xA9";  // half of the last letter does not fit
    Start();
    Asker asker(service->SearchPort());
    const std::string question = RecorderQuestion("12345678");
    for (int i = 0; i < 200; ++i) {
        asker.Ask(question);
    }
    std::size_t answers = 0;
    for (std::string answer = asker.Answer(10'000); !answer.empty(); answer = asker.Answer(100)) {
        EXPECT_EQ(answer, RecorderAnswer("12345678", std::string(254, 'x'), port));
        EXPECT_LE(answer.size(), question.size());
        ++answers;
    }
    // A slow machine takes more than one second for it.
    EXPECT_GE(answers, AnswerLimit::kOne);
    EXPECT_LT(answers, 200u / 2);

    AnswerLimit limit;
    auto now = std::chrono::steady_clock::now();
    const auto taken = [&](std::uint32_t from, int times) {
        int count = 0;
        for (int i = 0; i < times; ++i) {
            count += limit.Take(from, now) ? 1 : 0;
        }
        return count;
    };
    EXPECT_EQ(taken(1, 100), 8);
    int others = 0;
    for (std::uint32_t each = 2; each < 200; ++each) {
        others += taken(each, 1);
    }
    EXPECT_EQ(others, 64 - 8);
    now += std::chrono::seconds(1);
    EXPECT_EQ(taken(1, 100), 8);
}

// Whoever serves this computer alone is not found, unless told.
TEST(SearchPlaces, FollowWhereTheRecorderListens) {
    const auto place = [](const std::string& listen, const std::string& told) {
        RecorderConfig config;
        config.listen = listen;
        config.searchListen = told;
        const auto found = SearchPlace(config);
        return found ? found->address + " " + std::to_string(found->port) : "";
    };
    EXPECT_EQ(place("127.0.0.1:8090", ""), "");
    EXPECT_EQ(place("[::1]:8090", ""), "");
    EXPECT_EQ(place("0.0.0.0:80", ""), "0.0.0.0 8091");
    EXPECT_EQ(place("[::]:80", ""), "0.0.0.0 8091");
    EXPECT_EQ(place("192.0.2.7:80", ""), "192.0.2.7 8091");
    EXPECT_EQ(place("[2001:db8::1]:80", ""), "");
    EXPECT_EQ(place("0.0.0.0:80", "off"), "");
    EXPECT_EQ(place("127.0.0.1:80", "127.0.0.1:0"), "127.0.0.1 0");
    EXPECT_THROW(place("0.0.0.0:80", "no"), ConfigError);
}

TEST(SearchPrograms, TellTheirPortAndServeWhereTheyCannotBeFound) {
    Program found({"--listen", "127.0.0.1:0", "--search-listen", "127.0.0.1:0"});
    const std::uint16_t served = found.Port();
    const std::string line = found.OutputLine();
    const std::string begin = "kvrecorder: found by those who ask on port ";
    ASSERT_TRUE(line.starts_with(begin)) << line;
    const int port = std::atoi(line.c_str() + begin.size());
    Asker asker(static_cast<std::uint16_t>(port));
    asker.Ask(RecorderQuestion("12345678"));
    EXPECT_EQ(asker.Answer(10'000), RecorderAnswer("12345678", "kvrecorder", served));
    // A second one at the same port is found as well.
    Program second({"--listen", "127.0.0.1:0", "--search-listen", "127.0.0.1:" + std::to_string(port)});
    const std::uint16_t other = second.Port();
    second.OutputLine();
    asker.Ask(RecorderQuestion("87654321"));
    EXPECT_THAT((std::vector{asker.Answer(10'000), asker.Answer(10'000)}),
                testing::UnorderedElementsAre(RecorderAnswer("87654321", "kvrecorder", served),
                                              RecorderAnswer("87654321", "kvrecorder", other)));
    Program nowhere({"--listen", "127.0.0.1:0", "--search-listen", "[::1]:0"});
    EXPECT_NE(nowhere.Port(), 0);
    EXPECT_EQ(nowhere.ErrorLine(), "kvrecorder: \"::1\" is no IPv4 address to be found at\n");
}

}  // namespace kvtest
