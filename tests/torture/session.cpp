#include "torture/session.h"

#include <sys/wait.h>

#include <array>

namespace torture {

std::vector<std::string> TortureEnvironment(const std::string& programs, const std::string& name,
                                            const Fault& fault, const std::string& record) {
    std::vector<std::string> environment{
        // The library stands before the sanitizer's, which looks whether something does.
        "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=1:exitcode=99:handle_abort=1:"
        "allocator_may_return_null=1:malloc_context_size=12",
        std::string("LSAN_OPTIONS=print_suppressions=0:suppressions=") + KV_LEAKS,
        "UBSAN_OPTIONS=print_stacktrace=1",
        "LD_PRELOAD=" + programs + "/libkvtorture.so " + programs + "/libkvtorture_driver.so",
        "KV_TORTURE=" + name + ":" + record,
    };
    if (name == "kvrecorder") {
        environment[3] = "LD_PRELOAD=" + programs + "/libkvtorture.so";
    }
    if (!fault.choice.empty()) {
        environment.push_back("KV_FAIL=" + fault.choice);
    }
    return environment;
}

std::string JudgeEnd(int status, const std::string& errors, const std::string& name, bool bStarted) {
    constexpr std::array kReports = {"AddressSanitizer", "LeakSanitizer",
                                     "runtime error:", "terminate called", "torture: there is no"};
    for (const char* const report : kReports) {
        if (errors.find(report) != std::string::npos) {
            return std::string("a report: ") + report;
        }
    }
    if (WIFSIGNALED(status)) {
        return "ended by signal " + std::to_string(WTERMSIG(status));
    }
    const int code = WEXITSTATUS(status);
    if (code == 0) {
        return {};
    }
    if (bStarted) {
        return "ended with status " + std::to_string(code) + " after its start";
    }
    return errors.find(name + ": ") != std::string::npos
               ? std::string()
               : "ended with status " + std::to_string(code) + " and without a word";
}

}  // namespace torture
