// Cameras whose host's name is looked up for longer than anybody waits.
#include <dlfcn.h>
#include <netdb.h>

#include <condition_variable>
#include <mutex>

#include "camera_fixture.h"
#include "cameras/camera_probe.h"

namespace {

// Names that end so are not answered before the test says so.
constexpr std::string_view kSlow = ".slow.invalid";
std::mutex mutex;
std::condition_variable changed;
bool answers = false;
int asking = 0;

}  // namespace

// In the place of the system's, for the libraries, too.
extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** found) {
    if (node && std::string_view(node).ends_with(kSlow) &&
        (!hints || (hints->ai_flags & AI_NUMERICHOST) == 0)) {
        std::unique_lock lock(mutex);
        ++asking;
        changed.notify_all();
        changed.wait(lock, [] { return answers; });
        --asking;
        changed.notify_all();
        return EAI_NONAME;
    }
    static const auto real = reinterpret_cast<decltype(&::getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    return real(node, service, hints, found);
}

namespace kvtest {
namespace {

using Clock = std::chrono::steady_clock;

TEST(SlowNames, HoldNobodyUp) {
    for (const auto& [scheme, overUdp] : {std::pair("rtsp", false), std::pair("rtsp", true),
                                          std::pair("rtsps", false), std::pair("http", false)}) {
        SCOPED_TRACE(std::string(scheme) + (overUdp ? " by UDP" : ""));
        answers = false;
        NetworkCamera camera;
        camera.url = std::string(scheme) + "://cam" + std::string(kSlow) + "/live";
        camera.overUdp = overUdp;
        auto begin = Clock::now();
        EXPECT_THAT(ProbeCamera(camera, milliseconds(300), [] { return false; }).faults,
                    testing::ElementsAre(Fault(FaultCode::NoAnswer)));
        EXPECT_LT(Clock::now() - begin, milliseconds(1500));
        begin = Clock::now();
        ProbeCamera(camera, std::chrono::minutes(10),
                    [&] { return Clock::now() - begin > milliseconds(200); });
        EXPECT_LT(Clock::now() - begin, milliseconds(1500));
        std::unique_lock lock(mutex);
        EXPECT_EQ(asking, 2) << "they are left alone";
        answers = true;
        changed.notify_all();
        EXPECT_TRUE(changed.wait_for(lock, std::chrono::seconds(10), [] { return asking == 0; }));
    }
}

}  // namespace
}  // namespace kvtest
