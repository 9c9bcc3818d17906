// The members by name, and the persisted properties. Sessions are the business of test_client.
#include <gmock/gmock.h>

#include <set>

#include "control/automation.h"
#include "control/client.h"
#include "control/host_ports.h"
#include "persist/utilities.h"

using namespace kvmon;
using testing::ElementsAre;

namespace {

struct Automation : testing::Test {
    CallResult Call(std::string_view name, std::vector<Variant> arguments = {}) {
        return InvokeMember(impl, name, MemberKind::Method, arguments);
    }
    CallStatus Put(std::string_view name, Variant value) {
        const std::vector<Variant> arguments{std::move(value)};
        return InvokeMember(impl, name, MemberKind::Put, arguments).status;
    }
    Variant Get(std::string_view name) { return InvokeMember(impl, name, MemberKind::Get, {}).value; }

    CTR450Client client;
    CTR450ClientImpl& impl = client.Impl();
};

const Variant kNothing;

struct Shares final : SharePort {
    int Connect(const std::string& user, const std::string&, const std::string& share) override {
        log.push_back(user + "@" + share);
        return share == "bad" ? 53 : 0;
    }
    void Cancel(const std::string& share) override { log.push_back("-" + share); }
    std::vector<std::string> log;
};

struct Browser final : BrowserPort {
    void HostUIControl(int id, const Variant&) override { ids.push_back(id); }
    std::vector<int> ids;
};

}  // namespace

TEST_F(Automation, PropertiesStoreWhatTheirTypesTake) {
    EXPECT_EQ(Put("ServerPort", 70000), CallStatus::Ok);
    EXPECT_EQ(Get("ServerPort"), Variant(70000));
    EXPECT_EQ(Put("ServerPort", std::string(" 81 ")), CallStatus::Ok);
    EXPECT_EQ(Put("ServerPort", std::string("81x")), CallStatus::BadArguments);
    EXPECT_EQ(Put("ServerPort", OtherValue{1e12}), CallStatus::BadArguments);
    EXPECT_EQ(Get("ServerPort"), Variant(81));
    EXPECT_EQ(Put("ServerIP", std::string("%s%n")), CallStatus::Ok);
    EXPECT_EQ(Get("ServerIP"), Variant(std::string("%s%n")));
    EXPECT_EQ(Put("DefServerName", std::string("here")), CallStatus::Ok);
    EXPECT_EQ(Get("DefServerName"), kNothing);
    EXPECT_EQ(impl.GetDefServerName(), "here");
    EXPECT_EQ(Get("Language"), Variant(std::string("0")));
    EXPECT_EQ(Put("Language", std::string("garbage")), CallStatus::Ok);  // a decimal of no digits is 0
}

TEST_F(Automation, MethodsGiveWhatTheyWrite) {
    EXPECT_EQ(Call("Login").value, Variant(-1));
    EXPECT_EQ(Call("Logout").value, kNothing);
    EXPECT_EQ(Call("SetLanguage", {99}).value, Variant(1));
    EXPECT_EQ(Call("GetLanguage").value, Variant(0));
    EXPECT_EQ(Call("IELogout").value, kNothing);
    const std::string text = "x";
    EXPECT_EQ(Call("CheckCamera", {text, text, 3, text, text}).value, Variant(0));
    EXPECT_EQ(Call("CheckCamera", {text, 80, 3, text, text}).status, CallStatus::NotDone);
    EXPECT_EQ(Call("CheckCamera", {text, text, 3}).status, CallStatus::NotDone);
    EXPECT_EQ(Call("AutoLogin", {5}).status, CallStatus::NotDone);
    EXPECT_EQ(Call("AutoLogin", {text}).status, CallStatus::Ok);
    EXPECT_EQ(Call("TestEMap", {5}).status, CallStatus::NotDone);
    EXPECT_EQ(Call("TestEMap", {text}).status, CallStatus::Ok);

    EXPECT_EQ(Call("Command", {0x411, 3}).value, kNothing);  // no site
    Browser browser;
    impl.SetClientSite(&browser);
    EXPECT_EQ(Call("Command", {0x411}).value, Variant(0));
    EXPECT_THAT(browser.ids, ElementsAre(0x411));
}

TEST_F(Automation, NothingElseCanBeCalled) {
    EXPECT_EQ(Call("login").status, CallStatus::NoMember);
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
    EXPECT_EQ(saved.size(), PersistedNames().size());
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
        CTR450ClientImpl leaving;
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
