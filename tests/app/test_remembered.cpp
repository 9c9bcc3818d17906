// The recorders that a desktop remembers, where their passwords are, and what a newcomer is offered.
#include <QtCore/QDir>
#include <QtCore/QProcess>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>
#include <map>
#include <optional>

#include "app/key_ring.h"
#include "persist/utilities.h"
#include "sign_in_fixture.h"
#include "support/must_run.h"

using namespace kvmon;
using kvtest::PressKey;
using kvtest::PumpUntil;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr std::uint32_t kTextNotFetched = 7211;
constexpr std::uint32_t kTextInKeyRing = 7212;
constexpr std::uint32_t kTextNoKeyRing = 7213;

// A desktop's key ring that does as a test wants; it answers when it is let.
class FakeKeyRing final : public KeyRing {
public:
    bool IsThere() const override { return bThere; }
    void Store(const KeyRingLogin& login, const std::string& password,
               std::function<void(bool)> done) override {
        if (bTakes) {
            kept[Name(login)] = password;
        }
        Later([done = std::move(done), bStored = bTakes] { done(bStored); });
    }
    void Lookup(const KeyRingLogin& login, std::function<void(std::optional<std::string>)> done) override {
        const auto found = kept.find(Name(login));
        const auto answer = bGives && found != kept.end() ? std::optional(found->second) : std::nullopt;
        Later([done = std::move(done), answer] { done(answer); });
    }
    void Forget(const KeyRingLogin& login) override { kept.erase(Name(login)); }

    bool bThere = true;
    bool bTakes = true;
    bool bGives = true;
    bool bAnswers = true;
    std::map<std::string, std::string> kept;

private:
    static std::string Name(const KeyRingLogin& login) {
        return login.user + "@" + login.address + ":" + std::to_string(login.port);
    }
    void Later(std::function<void()> answer) {
        if (bAnswers) {
            QMetaObject::invokeMethod(qApp, std::move(answer), Qt::QueuedConnection);
        }
    }
};

class Remembered : public kvtest::SignInTest {
protected:
    // By the card, with all fields typed anew.
    void SignInAt(std::uint16_t port, const std::string& user, const std::string& password, bool bRemember) {
        ASSERT_TRUE(HasCard());
        if (Find<QCheckBox>("remember")->isChecked() != bRemember) {
            Click(Find("remember"));
        }
        for (const auto& [field, text] : {std::pair<const char*, std::string>{"address", "127.0.0.1"},
                                          {"port", std::to_string(port)},
                                          {"user", user},
                                          {"password", password}}) {
            Find(field)->setFocus();
            Type(text);
        }
        Key(Qt::Key_Return);
        ASSERT_TRUE(HasWall());
    }
    void LogOut() {
        PressKey(*window->findChild<QWidget*>(QStringLiteral("console")), Qt::Key_L, Qt::ControlModifier);
        ASSERT_TRUE(HasCard());
    }
    QComboBox& Choice() { return *Find<QComboBox>("recorder"); }
    // As the keyboard does.
    void Choose(int row) {
        Choice().setFocus();
        while (Choice().currentIndex() != row) {
            Key(Choice().currentIndex() < row ? Qt::Key_Down : Qt::Key_Up);
        }
    }
    static std::string Words(std::uint32_t id) { return LoadString(id); }

    kvtest::FakeRecorder gate{"Gate", 4};
};

}  // namespace

TEST_F(Remembered, SeveralRecordersAreChosenFromAndForgotten) {
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        EXPECT_EQ(Find("recorder"), nullptr) << "nothing to choose from yet";
        SignInAt(recorder.Port(), "guard", "hunter2", true);
        LogOut();
        SignInAt(gate.Port(), "porter", "swordfish", true);
    });
    EXPECT_THAT(AllThatIsStored(), Not(testing::AnyOf(HasSubstr("hunter2"), HasSubstr("swordfish"))));
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        ASSERT_EQ(Choice().count(), 3);
        EXPECT_EQ(Choice().accessibleName().toStdString(), Words(7206));
        EXPECT_THAT(Choice().currentText().toStdString(), HasSubstr("Gate - porter"));
        EXPECT_EQ(Field("password"), "swordfish");
        Choose(1);
        EXPECT_EQ(Find<QSpinBox>("port")->value(), recorder.Port());
        EXPECT_EQ(Field("user"), "guard");
        EXPECT_EQ(Field("password"), "hunter2");
        // What is typed is another one, without the password of the first.
        Find("user")->setFocus();
        Key(Qt::Key_End);
        Add("2");
        EXPECT_EQ(Choice().currentIndex(), 2);
        EXPECT_EQ(Field("password"), "");
        Key(Qt::Key_Backspace);
        EXPECT_EQ(Choice().currentIndex(), 1);
        Choose(0);
        Choose(1);
        Find("password")->setFocus();
        Key(Qt::Key_Return);
        ASSERT_TRUE(HasWall());
        EXPECT_GT(recorder.CountHeads(MakeBasicAuth("guard", "hunter2")), 0);
        LogOut();
        EXPECT_THAT(Choice().itemText(0).toStdString(), HasSubstr("Hall - guard")) << "the last one first";
        Choose(1);
        Click(Find("forget"));
        EXPECT_EQ(Choice().count(), 2);
        EXPECT_EQ(Field("password") + Field("user"), "");
    });
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        ASSERT_EQ(Choice().count(), 2);
        EXPECT_EQ(Field("password"), "hunter2");
        Click(Find("forget"));
    });
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        EXPECT_EQ(Find("recorder"), nullptr);
        EXPECT_EQ(Field("password"), "");
    });
    EXPECT_EQ(Registry().GetProfileString("Desktop", "Username", ""), "");
}

TEST_F(Remembered, TheKeyRingHasThePasswordAndTheStartWaitsForIt) {
    FakeKeyRing ring;
    keyRing = &ring;
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        Click(Find("remember"));
        EXPECT_TRUE(Says(Words(kTextInKeyRing)));
        Click(Find("atStart"));
        SignInAt(recorder.Port(), "guard", "hunter2", true);
    });
    EXPECT_EQ(ring.kept.size(), 1u);
    EXPECT_EQ(Registry().GetProfileBinarySize("Desktop", "Passwd"), 0u);
    EXPECT_EQ(Registry().GetProfileBinarySize("Desktop\\Recorders\\R00", "Passwd"), 0u);
    Run({}, [&] { EXPECT_TRUE(HasWall()) << "by itself"; });
}

TEST_F(Remembered, AKeyRingThatIsLockedOrSilentHoldsUpNothing) {
    FakeKeyRing ring;
    keyRing = &ring;
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        Click(Find("remember"));
        Click(Find("atStart"));
        SignInAt(recorder.Port(), "guard", "hunter2", true);
    });
    // One that is locked: the user is told, and goes on by hand.
    ring.bGives = false;
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        EXPECT_TRUE(Says(Words(kTextNotFetched)));
        EXPECT_EQ(Field("user"), "guard");
        Find("password")->setFocus();
        Type("hunter2");
        Key(Qt::Key_Return);
        EXPECT_TRUE(HasWall());
    });
    // One that never answers holds up nothing.
    ring.bAnswers = false;
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        Find("password")->setFocus();
        Type("hunter2");
        Key(Qt::Key_Return);
        EXPECT_TRUE(HasWall());
    });
    ring.bAnswers = ring.bGives = true;
    Run({}, [&] {
        EXPECT_TRUE(HasWall()) << "kept here when the program ended without an answer";
        LogOut();
        Click(Find("forget"));
        EXPECT_TRUE(Find("recorder") == nullptr || Choice().count() == 1);
    });
}

TEST_F(Remembered, WithoutAKeyRingThatTakesItThePasswordIsKeptHere) {
    FakeKeyRing ring;
    keyRing = &ring;
    ring.bTakes = false;
    Run({}, [&] { SignInAt(recorder.Port(), "guard", "hunter2", true); });
    EXPECT_EQ(ring.kept.size(), 0u);
    ring.bThere = false;
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        EXPECT_EQ(Field("password"), "hunter2");
        Click(Find("remember"));
        Click(Find("remember"));
        EXPECT_TRUE(Says(Words(kTextNoKeyRing)));
    });
    EXPECT_THAT(AllThatIsStored(), Not(HasSubstr("hunter2")));
}

TEST_F(Remembered, ANewcomerSeesTheDemoWhichEndsWithTheProgram) {
    const auto children = [] {
        std::ifstream list("/proc/self/task/" + std::to_string(QCoreApplication::applicationPid()) +
                           "/children");
        return std::string(std::istreambuf_iterator<char>(list), {});
    };
    for (int start = 0; start < 2; ++start) {
        Run({}, [&] {
            ASSERT_TRUE(HasCard());
            ASSERT_NE(Find("introduction"), nullptr);
            EXPECT_EQ(window->windowTitle().toStdString(), "kvmon");
            Find("demo")->setFocus();
            Key(Qt::Key_Space);
            ASSERT_TRUE(HasWall());
            EXPECT_NE(children(), "");
            LogOut();
            EXPECT_EQ(Field("address"), "") << "a place that is gone with the next start";
            Click(Find("demo"));
            EXPECT_TRUE(HasWall()) << "the one that runs";
        });
        EXPECT_EQ(children(), "");
    }
}

TEST_F(Remembered, TheWindowIsCalledAsItsWallAndQuitsByItsKey) {
    Run({}, [&] {
        SignInAt(recorder.Port(), "guard", "hunter2", false);
        const auto title = [&](const std::string& text) {
            return PumpUntil([&] { return window->windowTitle().toStdString() == text; });
        };
        EXPECT_TRUE(title("Hall - 4 channels")) << window->windowTitle().toStdString();
        QWidget& console = *window->findChild<QWidget*>(QStringLiteral("console"));
        PressKey(console, Qt::Key_1);
        EXPECT_TRUE(title("Hall - Single channel"));
        for (const int size : {16, 32, 256}) {
            EXPECT_EQ(window->windowIcon().pixmap(size).toImage().pixelColor(size / 5, size * 3 / 5),
                      QColor(0x4f, 0xb3, 0xd9))
                << size;
        }
        LogOut();
        EXPECT_TRUE(title("kvmon"));
        PressKey(*window->focusWidget(), Qt::Key_Q, Qt::ControlModifier);
        EXPECT_TRUE(PumpUntil([&] { return !window->isVisible(); }));
    });
}

// A recorder that is gone is waited for; its user may go on elsewhere.
TEST_F(Remembered, FromARecorderThatIsGoneTheWayLeadsToAnother) {
    auto gone = std::make_unique<kvtest::FakeRecorder>("Yard", 4);
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        Click(Find("remember"));
        Click(Find("atStart"));
        SignInAt(gone->Port(), "guard", "hunter2", true);
    });
    gone.reset();
    Run({}, [&] {
        ASSERT_TRUE(PumpUntil([&] {
            const auto* const notice = Find<QLabel>("wallNotice");
            return notice != nullptr && notice->text().contains("Ctrl+L: sign in to another recorder");
        }));
        LogOut();
        SignInAt(recorder.Port(), "guard", "hunter2", false);
    });
}

// The real one, on a session bus of the test's own.
TEST(SecretService, KeepsAndGivesAndForgets) {
    for (const char* const file : {"/usr/bin/dbus-daemon", "/usr/bin/gnome-keyring-daemon"}) {
        if (!QFile::exists(QString::fromLatin1(file))) {
            KV_SKIP(std::string("there is no ") + file);
        }
    }
    const kvtest::TempFolder folder;
    QProcess bus;
    bus.start("/usr/bin/dbus-daemon", {"--session", "--nofork", "--print-address=1"});
    ASSERT_TRUE(bus.waitForReadyRead());
    const QByteArray address = bus.readLine().trimmed();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* const name : {"XDG_RUNTIME_DIR", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "HOME"}) {
        environment.insert(name, QString::fromStdString(folder.Path()));
    }
    environment.insert("DBUS_SESSION_BUS_ADDRESS", address);
    QProcess daemon;
    daemon.setProcessEnvironment(environment);
    daemon.start("/usr/bin/gnome-keyring-daemon", {"--foreground", "--components=secrets", "--unlock"});
    ASSERT_TRUE(daemon.waitForStarted());
    daemon.write("keyring");
    daemon.closeWriteChannel();
    // It tells nobody when it serves.
    const auto isServed = [&] {
        QProcess question;
        question.setProcessEnvironment(environment);
        question.start("/usr/bin/dbus-send",
                       {"--session", "--print-reply", "--dest=org.freedesktop.DBus", "/",
                        "org.freedesktop.DBus.NameHasOwner", "string:org.freedesktop.secrets"});
        question.waitForFinished();
        return question.readAllStandardOutput().contains("boolean true");
    };
    ASSERT_TRUE(PumpUntil(isServed));

    const auto before = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    {
        const std::unique_ptr<KeyRing> ring = MakeSecretServiceKeyRing();
        const KeyRingLogin login{"192.0.2.10", 80, "guard"};
        const auto lookUp = [&](const KeyRingLogin& wanted) {
            std::optional<std::optional<std::string>> found;
            ring->Lookup(wanted, [&](std::optional<std::string> password) { found = std::move(password); });
            EXPECT_TRUE(PumpUntil([&] { return found.has_value(); }));
            return found.value_or(std::nullopt);
        };
        EXPECT_EQ(lookUp(login), std::nullopt);
        std::optional<bool> bStored;
        ring->Store(login, "hunter2", [&](bool bDone) { bStored = bDone; });
        EXPECT_TRUE(PumpUntil([&] { return bStored.has_value(); }));
        EXPECT_EQ(bStored, true);
        EXPECT_EQ(lookUp(login), "hunter2");
        EXPECT_EQ(lookUp({"192.0.2.10", 80, "porter"}), std::nullopt);
        ring->Forget(login);
        EXPECT_EQ(lookUp(login), std::nullopt);
        // The service goes away: that is no password, and no wait.
        daemon.kill();
        daemon.waitForFinished();
        bus.kill();
        bus.waitForFinished();
        EXPECT_EQ(lookUp(login), std::nullopt);
    }
    before.isEmpty() ? qunsetenv("DBUS_SESSION_BUS_ADDRESS") : qputenv("DBUS_SESSION_BUS_ADDRESS", before);
}
