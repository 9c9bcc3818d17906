// How long the user interface's thread was kept from its event loop.
#pragma once

#include <QtWidgets/QApplication>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

namespace kvtest {

// Times the handling of every event, with all that it leads to. The time in which the system gave the
// processor to others counts for nothing, so that a loaded machine does not look like a slow program.
class WatchedApplication final : public QApplication {
public:
    WatchedApplication(int& argc, char** argv) : QApplication(argc, argv) {}
    static WatchedApplication& Instance() { return *static_cast<WatchedApplication*>(qApp); }

    void ForgetLongest() {
        longestMs_ = 0;
        longestEvent_.clear();
    }
    // The longest since then, in milliseconds, and what it was.
    double LongestMs() const { return longestMs_; }
    const std::string& LongestEvent() const { return longestEvent_; }

    bool notify(QObject* receiver, QEvent* event) override {
        if (depth_ > 0) {
            return QApplication::notify(receiver, event);
        }
        const std::string what = receiver->objectName().toStdString() + " (" +
                                 receiver->metaObject()->className() + ") event " +
                                 std::to_string(event->type());
        const double begin = UsedMs();
        ++depth_;
        const bool result = QApplication::notify(receiver, event);
        --depth_;
        const double used = UsedMs() - begin;
        if (used > longestMs_) {
            longestMs_ = used;
            longestEvent_ = what;
        }
        return result;
    }

private:
    // Wall time less the time spent ready to run and not running.
    static double UsedMs() {
        double waited = 0;
        if (std::FILE* const file = std::fopen("/proc/thread-self/schedstat", "r")) {
            unsigned long long ran = 0;
            unsigned long long ready = 0;
            if (std::fscanf(file, "%llu %llu", &ran, &ready) == 2) {
                waited = static_cast<double>(ready) / 1e6;
            }
            std::fclose(file);
        }
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration<double, std::milli>(now).count() - waited;
    }

    int depth_ = 0;
    double longestMs_ = 0;
    std::string longestEvent_;
};

// The limit for a thread that a user waits for. A sanitizer's program is slower by its nature.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr double kUiLimitMs = 1000;
#else
inline constexpr double kUiLimitMs = 50;
#endif

}  // namespace kvtest
