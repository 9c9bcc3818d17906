// The shares of a page's playback: the walk over the list, and a real server behind it.
#include <gmock/gmock.h>

#include <fcntl.h>
#include <unistd.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QProcess>
#include <QtCore/QTimer>
#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

#include "control/playback_shares.h"
#include "control/smb_shares.h"
#include "persist/log_file.h"
#include "persist/utilities.h"
#include "samba_server.h"
#include "shares/share_name.h"
#include "shares/share_request.h"
#include "support/fake_clock.h"
#include "support/must_run.h"
#include "support/scripted_server.h"
#include "support/temp_folder.h"
#include "support/wait_until.h"

using namespace kvmon;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

const std::string kGuard = EncodeBasicAuth("guard:secret");

// Notes what it is asked for; shares that begin with "bad" fail.
struct NotingPort final : SharePort {
    int Connect(const std::string& user, const std::string& password, const std::string& share) override {
        log.push_back("+" + share);
        EXPECT_EQ(user + ":" + password, "guard:secret");
        if (during) {
            during(share);
        }
        return share.starts_with("bad") ? 67 : 0;
    }
    void Cancel(const std::string& share) override { log.push_back("-" + share); }
    std::vector<std::string> Take() { return std::exchange(log, {}); }

    std::vector<std::string> log;
    std::function<void(const std::string&)> during;
};

std::string ReadAll(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

TEST(PlaybackShares, TheWalkIsTracedWithoutThePassword) {
    kvtest::TempFolder folder;
    LogFile().Open(folder.File("trace"));
    NotingPort port;
    PlaybackShares shares;
    shares.SetPort(&port);
    EXPECT_EQ(shares.Prepare(kGuard, "bad%s+good"), -1);
    EXPECT_EQ(shares.Prepare(kGuard, "one++two"), 0);
    for (const char* const auth : {"guard", ":secret", "guard:"}) {
        EXPECT_EQ(shares.Prepare(EncodeBasicAuth(auth), "three"), -1) << auth;
    }
    shares.Unprepare();
    EXPECT_THAT(port.Take(), ElementsAre("+bad%s", "+good", "+one", "+", "+two", "-one", "-", "-two"));
    const std::string trace = ReadAll(folder.File("trace"));
    EXPECT_THAT(trace, HasSubstr("\tConnectSMBShare: connect one successfully.\n"));
    EXPECT_THAT(trace, HasSubstr("\tConnectSMBShare: fail connect bad%s with code 67!\n"));
    EXPECT_THAT(trace, HasSubstr("\tm_strFolderList = +two, strShareFolder = one.\n"));
    EXPECT_THAT(trace, Not(HasSubstr("secret")));
    LogFile().Open(folder.File("none/at/all"));
}

TEST(PlaybackShares, HostileListsEnd) {
    NotingPort port;
    kvtest::FakeClock clock;
    PlaybackShares shares(clock);
    shares.SetPort(&port);
    EXPECT_EQ(shares.Prepare(kGuard, std::string(PlaybackShares::kMaxListBytes + 1, 'a')), -1);
    EXPECT_THAT(port.Take(), IsEmpty());
    EXPECT_EQ(shares.Prepare(kGuard, std::string(PlaybackShares::kMaxShares + 9, '+')), -1);
    EXPECT_EQ(port.Take().size(), std::size_t{PlaybackShares::kMaxShares});
    shares.Unprepare();
    port.Take();

    // A host that is slow takes the time from the whole list.
    std::string list;
    for (int i = 0; i < 1000; ++i) {
        list += "share+";
    }
    port.during = [&](const std::string&) { clock.Advance(std::chrono::seconds(10)); };
    EXPECT_EQ(shares.Prepare(kGuard, list), -1);
    EXPECT_EQ(port.Take().size(), 3u);
}

TEST(PlaybackShares, CallsDuringTheWalk) {
    NotingPort port;
    PlaybackShares shares;
    shares.SetPort(&port);
    port.during = [&](const std::string& share) {
        if (share == "two") {
            EXPECT_EQ(shares.Prepare(kGuard, "other"), -1);
            shares.Unprepare();
        }
    };
    EXPECT_EQ(shares.Prepare(kGuard, "one+two+three"), -1);
    EXPECT_THAT(port.Take(), ElementsAre("+one", "+two", "-one", "-two", "-three", "-two"));
    EXPECT_EQ(shares.Prepare(kGuard, "one"), 0);
}

TEST(ShareName, AllSpellingsAndNothingElse) {
    for (const char* const text : {"\\\\nvr-1\\Rec", "\\nvr-1\\Rec", "nvr-1\\Rec", "//nvr-1/Rec/",
                                   "\\\\\\\\nvr-1\\\\Rec\\", "smb://nvr-1/Rec", "SMB:\\\\nvr-1\\Rec"}) {
        const auto name = ParseShareName(text);
        ASSERT_TRUE(name) << text;
        EXPECT_EQ(ShareUrl(*name), "smb://nvr-1/Rec");
        EXPECT_EQ(ShareKey(*name), "nvr-1/rec/");
    }
    const auto deep = ParseShareName("\\\\10.0.0.9\\rec$\\day 1\\a%2F&\xC3\xA4");
    ASSERT_TRUE(deep);
    EXPECT_EQ(ShareUrl(*deep), "smb://10.0.0.9/rec%24/day%201/a%252F%26%C3%A4");
    for (const std::string& text : std::vector<std::string>{
             "", "\\\\", "\\\\host", "\\\\host\\", "\\\\user:pw@host\\a", "\\\\host:4450\\a",
             "\\\\<b>host</b>\\a", "\\\\-host\\a", "\\\\host\\..\\a", "\\\\host\\a\\.", "\\\\host\\a?b",
             "\\\\host\\a\nb", "\\\\host\\a\\x*", "\\\\" + std::string(254, 'h') + "\\a",
             "\\\\host\\" + std::string(81, 'a'), "\\\\host\\a\\" + std::string(256, 'b'),
             "\\\\host\\a" + std::string(2000, '\\')}) {
        EXPECT_FALSE(ParseShareName(text)) << text;
    }
}

TEST(ShareRequest, ComesWholeOrNotAtAll) {
    const auto request = MakeShareRequest("smb://h/s", "site\\guard", "a b");
    ASSERT_TRUE(request);
    const std::string bytes = WriteShareRequest(*request);
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        EXPECT_FALSE(ReadShareRequest(std::string_view(bytes).substr(0, length)));
    }
    const auto read = ReadShareRequest(bytes);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->domain + "|" + read->user + "|" + read->password, "site|guard|a b");
    EXPECT_FALSE(MakeShareRequest("smb://h/s", std::string(256, 'u'), "p"));
    EXPECT_FALSE(MakeShareRequest("smb://h/s", "u", std::string("p\0q", 3)));
}

class SmbSharesTest : public testing::Test {
protected:
    // Keeps away from the desktop of whoever runs the tests.
    SmbSharesTest() { qputenv(kBusVariable, "disabled:"); }
    ~SmbSharesTest() override { qunsetenv(kSharePortVariable); }
    static constexpr const char* kBusVariable = "DBUS_SESSION_BUS_ADDRESS";
    static void UsePort(std::uint16_t port) { qputenv(kSharePortVariable, QByteArray::number(port)); }
    static int Connect(SmbShares& shares, const std::string& share, const std::string& password = "secret") {
        return shares.Connect("guard", password, share);
    }
};

TEST_F(SmbSharesTest, WithoutItsProgramNothingIsConnected) {
    SmbShares shares("/nonexistent/kvmon-shares");
    EXPECT_EQ(Connect(shares, "\\\\127.0.0.1\\a"), kShareNotSupported);
    SmbShares other("/bin/true");
    EXPECT_EQ(Connect(other, "\\\\127.0.0.1\\a"), kShareNetworkFailed);
    EXPECT_EQ(shares.HeldCount(), 0u);
}

TEST_F(SmbSharesTest, ASilentHostHoldsUpNobody) {
    kvtest::ScriptedServer silent([](kvtest::Peer& peer) { peer.Hold(); });
    UsePort(silent.Port());
    SmbShares shares(KVMON_SHARES, 2000);  // a loaded machine starts the process within that
    int turns = 0;
    QTimer interface;
    QObject::connect(&interface, &QTimer::timeout, &interface, [&] {
        ++turns;
        EXPECT_TRUE(shares.IsConnecting());
    });
    interface.start(5);
    EXPECT_EQ(Connect(shares, "\\\\127.0.0.1\\a"), kShareTimedOut);
    EXPECT_GT(turns, 10);
    interface.stop();
    // Its other shares do not wait once more; shares of another host are tried.
    EXPECT_EQ(Connect(shares, "\\\\127.0.0.1\\b"), kShareTimedOut);
    EXPECT_EQ(silent.ConnectionCount(), 1);
    UsePort(kvtest::UnusedPort());
    EXPECT_EQ(Connect(shares, "\\\\localhost\\b"), kShareNoSuchHost);
    EXPECT_FALSE(shares.IsConnecting());
}

TEST_F(SmbSharesTest, TheEndOfTheProgramCancelsIt) {
    kvtest::ScriptedServer silent([](kvtest::Peer& peer) { peer.Hold(); });
    UsePort(silent.Port());
    SmbShares shares(KVMON_SHARES);
    PlaybackShares playback;
    playback.SetPort(&shares);
    int result = 0;
    QTimer::singleShot(0, qApp,
                       [&] { result = playback.Prepare(kGuard, "\\\\127.0.0.1\\a+\\\\127.0.0.2\\b"); });
    QTimer quit;
    QObject::connect(&quit, &QTimer::timeout, [&] {
        if (silent.ConnectionCount() > 0) {
            QCoreApplication::exit(0);
        }
    });
    quit.start(5);
    QCoreApplication::exec();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(silent.ConnectionCount(), 1);
}

// Against Samba itself.
class SambaTest : public SmbSharesTest {
protected:
    void SetUp() override {
        std::string problem;
        m_samba = kvtest::SambaServer::Start(problem);
        if (!m_samba) {
            KV_SKIP(problem);
        }
        UsePort(m_samba->Port());
    }
    std::vector<std::string> Events(std::size_t count) const {
        EXPECT_TRUE(m_samba->WaitForEvents(count));
        return m_samba->Events();
    }

    std::unique_ptr<kvtest::SambaServer> m_samba;
};

TEST_F(SambaTest, OnlyTheRightPasswordOpensWhatIsThere) {
    SmbShares shares(KVMON_SHARES);
    EXPECT_EQ(Connect(shares, "\\\\127.0.0.1\\recordings", "Secret"), kShareLoginRefused);
    EXPECT_EQ(Connect(shares, "\\\\127.0.0.1\\nothing"), kShareNoSuchShare);
    EXPECT_EQ(shares.Connect("stranger", "secret", "\\\\127.0.0.1\\recordings"), kShareLoginRefused);
    EXPECT_EQ(Connect(shares, "\\\\-o guest\\recordings"), kShareNoSuchShare);
    EXPECT_THAT(m_samba->Events(), IsEmpty());
    EXPECT_EQ(Connect(shares, "\\\\127.0.0.1\\recordings\\day 2"), kShareNoSuchFolder);
    EXPECT_EQ(Connect(shares, "\\\\127.0.0.1\\recordings\\day 1\\clip.avi"), kShareNoFolder);
    EXPECT_THAT(Events(4),
                ElementsAre("open recordings", "close recordings", "open recordings", "close recordings"));
    EXPECT_EQ(Connect(shares, "127.0.0.1/recordings/day 1"), kShareConnected);
    EXPECT_EQ(shares.HeldCount(), 1u);
}

// A file of a folder that may go at any moment.
std::string ReadMounted(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::array<char, 64> bytes;
    if (fd < 0) {
        return {};
    }
    const ssize_t count = ::read(fd, bytes.data(), bytes.size());
    ::close(fd);
    return std::string(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
}

// A session bus of the test's own, which starts the desktop's service for network folders.
class DesktopTest : public SambaTest {
protected:
    void SetUp() override {
        SambaTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        for (const char* const file : {"/usr/bin/gio", "/usr/bin/dbus-daemon", "/dev/fuse"}) {
            if (::access(file, R_OK) != 0) {
                KV_SKIP(std::string("there is no ") + file);
            }
        }
        qputenv("XDG_RUNTIME_DIR", m_folder.Path().c_str());
        m_bus.start("/usr/bin/dbus-daemon", {"--session", "--nofork", "--print-address=1"});
        ASSERT_TRUE(m_bus.waitForReadyRead());
        qputenv(kBusVariable, m_bus.readLine().trimmed());
    }
    void TearDown() override {
        m_bus.kill();
        m_bus.waitForFinished();
        QProcess::execute("/bin/fusermount3", {"-quz", QString::fromStdString(m_folder.File("gvfs"))});
    }

    kvtest::TempFolder m_folder;
    QProcess m_bus;
};

TEST_F(DesktopTest, AConnectedShareIsAFolder) {
    std::vector<std::string> told;
    auto port =
        std::make_unique<SmbShares>(KVMON_SHARES, 3 * SmbShares::kConnectMs,
                                    [&](const std::string& share, int result, const std::string& path) {
                                        told.push_back(share + " " + std::to_string(result));
                                        told.push_back(path);
                                    });
    PlaybackShares playback;
    playback.SetPort(port.get());
    EXPECT_EQ(playback.Prepare(kGuard, "\\\\127.0.0.1\\recordings\\day 1+\\\\127.0.0.1\\none"), -1);
    ASSERT_EQ(told.size(), 4u);
    EXPECT_EQ(told[0], "\\\\127.0.0.1\\recordings\\day 1 0");
    EXPECT_EQ(told[2], "\\\\127.0.0.1\\none 67");
    EXPECT_EQ(told[3], "");
    if (told[1].empty()) {
        KV_SKIP("the desktop's service has no folders here");
    }
    const std::string clip = told[1] + "/clip.avi";
    EXPECT_EQ(ReadMounted(clip), "pictures");

    // Another instance of this program has it as well: it stays until the last one goes.
    SmbShares other(KVMON_SHARES);
    EXPECT_EQ(Connect(other, "127.0.0.1/recordings"), kShareConnected);
    playback.Unprepare();
    EXPECT_TRUE(kvtest::WaitUntil(
        [&] { return !m_samba->Events().empty() && m_samba->Events().back() == "close recordings"; }));
    port.reset();
    EXPECT_EQ(ReadMounted(clip), "pictures");
    other.Cancel("127.0.0.1/recordings");
    EXPECT_TRUE(kvtest::WaitUntil([&] {
        QCoreApplication::processEvents();
        return ReadMounted(clip).empty();
    }));
}

TEST_F(SambaTest, WithoutADesktopTheShareIsConnectedAllTheSame) {
    std::vector<std::string> told;
    SmbShares port(KVMON_SHARES, SmbShares::kConnectMs,
                   [&](const std::string&, int result, const std::string& path) {
                       told.push_back(std::to_string(result) + path);
                   });
    PlaybackShares playback;
    playback.SetPort(&port);
    EXPECT_EQ(playback.Prepare(kGuard, "\\\\127.0.0.1\\recordings"), 0);
    EXPECT_THAT(told, ElementsAre("0"));
}

TEST_F(SambaTest, ConnectionsLastUntilTheyAreCancelled) {
    auto port = std::make_unique<SmbShares>(KVMON_SHARES);
    auto playback = std::make_unique<PlaybackShares>();
    playback->SetPort(port.get());
    EXPECT_EQ(playback->Prepare(kGuard, "\\\\127.0.0.1\\recordings+\\\\127.0.0.1\\other"), 0);
    EXPECT_THAT(Events(2), ElementsAre("open recordings", "open other"));
    playback->Unprepare();
    EXPECT_THAT(Events(4), testing::UnorderedElementsAre("open recordings", "open other", "close recordings",
                                                         "close other"));

    // The list of before is forgotten, and its shares stay.
    EXPECT_EQ(playback->Prepare(kGuard, "\\\\127.0.0.1\\other"), 0);
    EXPECT_EQ(playback->Prepare(kGuard, "\\\\127.0.0.1\\recordings+\\\\127.0.0.1\\none"), -1);
    playback->Unprepare();
    EXPECT_THAT(Events(7).back(), "close recordings");
    EXPECT_EQ(port->HeldCount(), 1u);

    // A wrong password now takes nothing away from what is connected; a page that leaves takes all.
    EXPECT_EQ(Connect(*port, "\\\\127.0.0.1\\OTHER", "wrong"), kShareLoginRefused);
    EXPECT_EQ(playback->Prepare(kGuard, "\\\\127.0.0.1\\recordings"), 0);
    EXPECT_EQ(port->HeldCount(), 2u);
    playback.reset();
    EXPECT_THAT(Events(9).back(), "close recordings");
    port.reset();
    EXPECT_THAT(Events(10).back(), "close other");
}
