// A short session of one of the programs, and whether it ended as it should.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "torture/faults.h"

namespace torture {

// What is to fail: nothing, one call, or all from one on.
struct Fault {
    std::string choice;  // as KV_FAIL takes it; empty: none
    bool bLasts = false;
};

struct Outcome {
    std::string problem;  // empty: all as it should be
    std::string heard;    // what the program said, for the report
};

class Session {
public:
    virtual ~Session() = default;
    virtual std::string Program() const = 0;  // its file
    virtual Outcome Run(const Fault& fault, const std::string& record) = 0;
};

// `folder` is the session's own; a recorder without faults serves kvmon.
std::unique_ptr<Session> MakeMonitorSession(const std::string& programs, const std::string& folder);
std::unique_ptr<Session> MakeDisplaySession(const std::string& programs, const std::string& folder);
std::unique_ptr<Session> MakeRecorderSession(const std::string& programs, const std::string& folder);

// The environment of a program in which something is to fail.
std::vector<std::string> TortureEnvironment(const std::string& programs, const std::string& name,
                                            const Fault& fault, const std::string& record);
// What is wrong about the end: a report of a sanitizer, a signal, an error without a word of ours.
std::string JudgeEnd(int status, const std::string& errors, const std::string& name, bool bStarted);

}  // namespace torture
