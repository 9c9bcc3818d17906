// The members by name, and the persisted properties. Sessions are the business of test_client.
#include <gmock/gmock.h>

#include <QtCore/QCoreApplication>
#include <set>

#include "control/automation.h"
#include "control/client.h"
#include "control/host_ports.h"
#include "persist/orvo_registry.h"
#include "persist/utilities.h"
#include "support/scripted_server.h"
#include "support/temp_folder.h"

using namespace kvmon;
using testing::ElementsAre;

namespace {

struct Sink final : ClientEvents {
    void OnLogout(int n) override { log += "logout " + std::to_string(n) + ";"; }
    void OnLogin(int n) override { log += "login " + std::to_string(n) + ";"; }
    void OnChgLanguage(int n) override { log += "language " + std::to_string(n) + ";"; }
    std::string log;
};

struct Automation : testing::Test {
    Automation() {
        SetDataFolder(folder.Path());
        RegistryApp app;
        app.databasePath = folder.File("settings.db");
        Registry().InitRegistry(false, app);
        client.Connect(&sink);
    }
    CallResult Call(std::string_view name, std::vector<Variant> arguments = {}) {
        return InvokeMember(impl, name, MemberKind::Method, arguments);
    }
    CallStatus Put(std::string_view name, Variant value) {
        const std::vector<Variant> arguments{std::move(value)};
        return InvokeMember(impl, name, MemberKind::Put, arguments).status;
    }
    Variant Get(std::string_view name) { return InvokeMember(impl, name, MemberKind::Get, {}).value; }

    kvtest::TempFolder folder;
    Sink sink;
    CTR450Client client;
    CTR450ClientImpl& impl = client.Impl();
};

struct Shares final : SharePort {
    int Connect(const std::string& user, const std::string&, const std::string& share) override {
        log.push_back(user + "@" + share);
        return share == "bad" ? 53 : 0;
    }
    void Cancel(const std::string& share) override { log.push_back("-" + share); }
    std::vector<std::string> log;
};

}  // namespace

// Each member against its own rule, in a row of calls: what is put is read by a later one. A console makes a
// difference to a few of them, and only with one is there anything to tell by an event.
TEST_F(Automation, EachMemberGivesWhatItIsToldTo) {
    constexpr auto kGet = MemberKind::Get;
    constexpr auto kPut = MemberKind::Put;
    constexpr auto kMethod = MemberKind::Method;
    constexpr auto kOk = CallStatus::Ok;
    constexpr auto kNotDone = CallStatus::NotDone;
    constexpr auto kBad = CallStatus::BadArguments;
    const auto text = [](const char* value) { return Variant(std::string(value)); };
    const Variant auth(EncodeBasicAuth("u:p"));
    const Variant none(EncodeBasicAuth("no colon"));
    const Variant port(static_cast<std::int32_t>(kvtest::UnusedPort()));
    const struct Row {
        int dispid;
        const char* name;
        MemberKind kind;
        std::vector<Variant> arguments;
        CallStatus status;
        Variant value;                       // nothing where the member writes nothing
        std::optional<Variant> withConsole;  // when it differs there
        const char* events = "";
    } rows[] = {
        {1, "ServerIP", kPut, {text("%s%n 100%")}, kOk, {}, {}},
        {1, "ServerIP", kGet, {}, kOk, text("%s%n 100%"), {}},
        {1, "ServerIP", kPut, {text("127.0.0.1")}, kOk, {}, {}},
        {2, "ServerPort", kPut, {70000}, kOk, {}, {}},
        {2, "ServerPort", kGet, {}, kOk, 70000, {}},
        {2, "ServerPort", kPut, {-5}, kOk, {}, {}},
        {2, "ServerPort", kGet, {}, kOk, -5, {}},
        {2, "ServerPort", kPut, {text(" 81 ")}, kOk, {}, {}},
        {2, "ServerPort", kPut, {text("82x")}, kBad, {}, {}},
        {2, "ServerPort", kPut, {OtherValue{1e12}}, kBad, {}, {}},
        {2, "ServerPort", kGet, {}, kOk, 81, {}},
        {2, "ServerPort", kPut, {port}, kOk, {}, {}},
        {5, "AutoStart", kPut, {OtherValue{-1}}, kOk, {}, {}},  // true
        {5, "AutoStart", kGet, {}, kOk, -1, {}},
        {5, "AutoStart", kPut, {0}, kOk, {}, {}},
        {6, "Login", kMethod, {}, kOk, -1, 0, "login 0;"},
        {6, "Login", kMethod, {text("u"), text("p")}, kOk, -1, 0, "login 0;"},
        {6, "Login", kMethod, {5, OtherValue{1}}, kOk, -1, 0, "login 0;"},
        {6, "Login", kMethod, {1, 2, 3}, kBad, {}, {}},
        {7, "Logout", kMethod, {}, kOk, {}, {}},  // only the console's own button tells of it
        {8, "Command", kMethod, {0x411, 3}, kOk, {}, {}},
        {8, "Command", kMethod, {text("x")}, kBad, {}, {}},
        {8, "Command", kMethod, {}, kBad, {}, {}},
        {10, "DefServerName", kPut, {text("here")}, kOk, {}, {}},
        {10, "DefServerName", kGet, {}, kOk, {}, {}},
        {11, "SetLanguage", kMethod, {99}, kOk, 1, {}},  // English
        {12, "GetLanguage", kMethod, {}, kOk, 0, {}},
        {11, "SetLanguage", kMethod, {text("6")}, kOk, 1, {}},
        {12, "GetLanguage", kMethod, {}, kOk, 6, {}},
        {11, "SetLanguage", kMethod, {text("six")}, kBad, {}, {}},
        {13, "HelpPath", kPut, {text("/help")}, kOk, {}, {}},
        {13, "HelpPath", kGet, {}, kOk, text("/help"), {}},
        {14, "CheckCamera", kMethod, {text("?"), text("80"), 3, text("u"), text("p")}, kOk, 0, {}},
        {14, "CheckCamera", kMethod, {text("?"), 80, 3, text("u"), text("p")}, kNotDone, {}, {}},
        {14, "CheckCamera", kMethod, {1, text("80"), 3, text("u"), text("p")}, kNotDone, {}, {}},
        {14, "CheckCamera", kMethod, {text("?"), text("80"), 3, text("u")}, kNotDone, {}, {}},
        {14, "CheckCamera", kMethod, {text("?"), text("80"), 3}, kNotDone, {}, {}},
        {15, "AutoLogin", kMethod, {auth}, kOk, {}, {}, "login 0;"},
        {15, "AutoLogin", kMethod, {none}, kOk, {}, {}},
        {15, "AutoLogin", kMethod, {text("")}, kOk, {}, {}},
        {15, "AutoLogin", kMethod, {5}, kNotDone, {}, {}},
        {16, "PreparePlaybackData", kMethod, {none, text("a")}, kOk, -1, {}},
        {16, "PreparePlaybackData", kMethod, {auth, text("")}, kOk, 0, {}},
        {17, "UnpreparePlaybackData", kMethod, {}, kOk, {}, {}},
        {18, "TestEMap", kMethod, {none}, kOk, {}, {}},
        {18, "TestEMap", kMethod, {OtherValue{}}, kNotDone, {}, {}},
        {19, "AuthData", kPut, {auth}, kOk, {}, {}},
        {19, "AuthData", kGet, {}, kOk, auth, {}},
        {20, "IELogout", kMethod, {}, kOk, {}, {}},
        {21, "Language", kGet, {}, kOk, text("6"), {}},
        {21, "Language", kPut, {text(" 11 of them")}, kOk, {}, {}},
        {21, "Language", kGet, {}, kOk, text("11"), {}},
        {21, "Language", kPut, {text("garbage")}, kOk, {}, {}},  // no digits are 0
        {21, "Language", kGet, {}, kOk, text("0"), {}},
        {22, "ViewNames", kMethod, {}, kOk, text(""), {}},
        {23, "OpenView", kMethod, {text("Night")}, kOk, 0, {}},
        {23, "OpenView", kMethod, {5}, kBad, {}, {}},
        {24, "SaveView", kMethod, {text("Night")}, kOk, 0, {}},  // nobody is logged in
        {24, "SaveView", kMethod, {}, kBad, {}, {}},
    };
    std::set<std::pair<std::string, MemberKind>> called;
    for (const bool bConsole : {false, true}) {
        if (bConsole) {
            client.CreateControlWindow(nullptr);
        }
        for (const Row& row : rows) {
            SCOPED_TRACE(std::to_string(&row - rows) + " " + row.name);
            called.emplace(row.name, row.kind);
            ASSERT_NE(FindMember(row.name, row.kind), nullptr);
            EXPECT_EQ(FindMember(row.name, row.kind)->dispid, row.dispid);
            sink.log.clear();
            const CallResult result = InvokeMember(impl, row.name, row.kind, row.arguments);
            EXPECT_EQ(result.status, row.status);
            EXPECT_EQ(result.value, bConsole && row.withConsole ? *row.withConsole : row.value);
            EXPECT_EQ(sink.log, "");  // events never come in the caller's stack
            QCoreApplication::processEvents();
            EXPECT_EQ(sink.log, bConsole ? row.events : "");
        }
    }
    EXPECT_EQ(called.size(), AutomationMembers().size());
    EXPECT_EQ(impl.GetDefServerName(), "here");

    struct Browser final : BrowserPort {
    } browser;
    impl.SetClientSite(&browser);
    EXPECT_EQ(Call("Command", {0x411, 3}).value, Variant(0));
    EXPECT_EQ(Call("Command", {0x7FFFFFFF}).value, Variant(0));
    impl.SetClientSite(nullptr);
}

TEST_F(Automation, NothingElseCanBeCalled) {
    EXPECT_EQ(Call("getLANGUAGE").status, CallStatus::Ok);  // in any case
    EXPECT_EQ(Call("GetLanguages").status, CallStatus::NoMember);
    EXPECT_EQ(Call("ServerIP").status, CallStatus::NoMember);
    EXPECT_EQ(Put("GetLanguage", 1), CallStatus::NoMember);
    EXPECT_EQ(Call("Logout", {1}).status, CallStatus::BadArguments);
    EXPECT_EQ(Call("AutoLogin", {}).status, CallStatus::BadArguments);
    EXPECT_EQ(Call("CheckCamera", std::vector<Variant>(4000)).status, CallStatus::BadArguments);
    std::set<std::pair<std::string, MemberKind>> names;
    for (const AutomationMember& member : AutomationMembers()) {
        EXPECT_TRUE(names.emplace(member.name, member.kind).second) << member.name;
        EXPECT_LE(member.minArguments, member.maxArguments);
        EXPECT_LE(member.maxArguments, 5);
    }
}

TEST_F(Automation, PersistedPropertiesComeBackFromBagAndStream) {
    EXPECT_TRUE(client.Load(PropertyBag{{"_cx", 26458},
                                        {"_cy", std::string("17992")},
                                        {"ServerIP", std::string("h\xC3\xA9")},
                                        {"ServerPort", std::string("8080")},
                                        {"AuthData", std::string("QQ==")},
                                        {"Unknown", 1}}));
    EXPECT_EQ(impl.GetServerPort(), 8080u);
    const PropertyBag saved = client.Save();
    EXPECT_EQ(saved.size(), 9u);
    EXPECT_EQ(saved.at("_cy"), Variant(17992));

    const std::vector<std::uint8_t> stream = client.SaveStream();
    CTR450Client other;
    for (std::size_t cut = 0; cut < stream.size(); ++cut) {
        ASSERT_FALSE(other.Load(std::span(stream).first(cut)));
    }
    EXPECT_EQ(other.Impl().GetServerPort(), 80u);
    EXPECT_TRUE(other.Load(stream));
    EXPECT_EQ(other.Save(), saved);
    std::vector<std::uint8_t> hostile = stream;
    hostile[10] = 0xFF;
    hostile[13] = 0xFF;  // a length far beyond the end
    EXPECT_FALSE(other.Load(hostile));
}

TEST_F(Automation, PlaybackWalksTheSharesAndForgetsThem) {
    Shares shares;
    {
        CTR450ClientImpl leaving(SystemClock());
        EXPECT_EQ(leaving.PreparePlaybackData(EncodeBasicAuth("u:p"), "a"), -1);  // no port
        leaving.SetSharePort(&shares);
        EXPECT_EQ(leaving.PreparePlaybackData(EncodeBasicAuth("u:"), "a"), -1);
        EXPECT_EQ(leaving.PreparePlaybackData(EncodeBasicAuth("u:p"), ""), 0);
        EXPECT_EQ(leaving.PreparePlaybackData(EncodeBasicAuth("u:p"), "a+bad+c+"), -1);
        leaving.UnpreparePlaybackData();
        leaving.UnpreparePlaybackData();
        EXPECT_EQ(leaving.PreparePlaybackData(EncodeBasicAuth("u:p"), "first"), 0);
        EXPECT_EQ(leaving.PreparePlaybackData(EncodeBasicAuth("u:p"), "second"), 0);
    }
    EXPECT_THAT(shares.log,
                ElementsAre("u@a", "u@bad", "u@c", "-a", "-bad", "-c", "u@first", "u@second", "-second"));
}
