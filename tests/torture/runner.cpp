// torture [RUNS [PROGRAM [FAULT]]]: lets calls of kvmon and kvrecorder fail, one in each run, from all the
// places where a first run without a fault made them. A place's first call fails, a later one,
// or all of them; RUNS bounds the runs of a program. PROGRAM is one of the two, or "display":
// kvmon on the display of DISPLAY, where calls for that display fail. FAULT, as KV_FAIL takes it, is one run
// alone with its stack told.
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <random>
#include <sstream>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "torture/process.h"
#include "torture/session.h"

namespace {

using namespace torture;
namespace fs = std::filesystem;

constexpr int kDefaultRuns = 200;
constexpr unsigned kSeed = 20;
constexpr std::size_t kWorkers = 2;

class Record {
public:
    explicit Record(std::string path) : m_path(std::move(path)) {
        const int file = ::open(m_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (file < 0 || ::ftruncate(file, sizeof(TortureRecord)) != 0) {
            std::perror("torture: record");
            std::exit(2);
        }
        void* const memory =
            ::mmap(nullptr, sizeof(TortureRecord), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        ::close(file);
        m_record = static_cast<TortureRecord*>(memory);
    }
    void Clear() { std::memset(static_cast<void*>(m_record), 0, sizeof *m_record); }
    const TortureRecord& Get() const { return *m_record; }
    const std::string& Path() const { return m_path; }

private:
    const std::string m_path;
    TortureRecord* m_record;
};

Fault MakeFault(std::uint32_t callClass, std::uint64_t key, std::uint32_t n, bool bLasts) {
    std::ostringstream text;
    text << kClassNames[callClass] << '@' << std::hex << key << std::dec << ':' << n
         << (bLasts ? ":0" : ":1");
    return {text.str(), bLasts};
}

// For each class all places in a mixed order, with the first call, a later one or all from the first on; the
// classes in turn, so that a bound cuts each in the same way.
std::vector<Fault> Choose(const TortureRecord& record, std::size_t runs, bool bDisplay) {
    std::mt19937 random(kSeed);
    std::array<std::vector<Fault>, kClasses> faults;
    for (std::uint32_t c = 0; c < kClasses; ++c) {
        if (bDisplay != (c == static_cast<std::uint32_t>(Class::Display))) {
            continue;
        }
        std::vector<std::pair<std::uint64_t, std::uint32_t>> places;
        for (const Site& site : record.sites) {
            if (site.key != 0 && site.callClass == c) {
                places.emplace_back(site.key, site.count);
            }
        }
        std::sort(places.begin(), places.end());
        std::shuffle(places.begin(), places.end(), random);
        // The three kinds in turn, so that a bound does not leave one out.
        constexpr std::size_t kKinds = 3;
        for (std::size_t round = 0; round < kKinds; ++round) {
            for (std::size_t i = 0; i < places.size(); ++i) {
                const auto& [key, count] = places[i];
                const std::size_t kind = (i + round) % kKinds;
                const std::uint32_t later =
                    2 + static_cast<std::uint32_t>(random()) % std::max(count - 1, 1u);
                if (kind != 1 || count > 1) {
                    faults[c].push_back(MakeFault(c, key, kind == 1 ? later : 1, kind == 2));
                }
            }
        }
        std::printf("  %-15s %7u calls from %5zu places\n", kClassNames[c], record.counts[c].load(),
                    places.size());
    }
    std::vector<Fault> chosen;
    for (std::size_t i = 0; chosen.size() < runs; ++i) {
        const std::size_t before = chosen.size();
        for (const auto& list : faults) {
            if (i < list.size() && chosen.size() < runs) {
                chosen.push_back(list[i]);
            }
        }
        if (chosen.size() == before) {
            break;
        }
    }
    return chosen;
}

// What ends the program inside a library of others, in a way that nothing of ours can catch.
constexpr std::array kOthers = {
    // asio throws in a destructor, or destroys what is half made, where there is no memory for a strand.
    "asio::detail::strand_executor_service",
    // asio does not look whether the pipe of its signals could be watched.
    "asio::detail::signal_set_service::signal_set_service",
    // toml++ parses in functions that may not throw.
    "parser.inl:",
};
constexpr std::array kOthersWords = {
    // libavcodec aborts where it has no memory for the options of a codec.
    "failed at src/libavcodec/options.c",
};

struct Tally {
    std::mutex mutex;
    std::size_t next = 0;
    std::size_t done = 0;
    std::size_t fired = 0;
    std::size_t others = 0;
    std::size_t problems = 0;
};

bool IsOthers(const Session& session, const Outcome& outcome, const TortureRecord& record) {
    const std::string names =
        NameOffsets(session.Program(), {std::begin(record.firedAt), std::end(record.firedAt)});
    const auto standsIn = [](const std::string& text) {
        return [&text](const char* other) { return text.find(other) != std::string::npos; };
    };
    return std::any_of(kOthers.begin(), kOthers.end(), standsIn(names)) ||
           std::any_of(kOthersWords.begin(), kOthersWords.end(), standsIn(outcome.heard));
}

void Tell(const Session& session, const Fault& fault, const Outcome& outcome, const TortureRecord& record) {
    const std::vector<unsigned long> offsets(std::begin(record.firedAt), std::end(record.firedAt));
    std::printf("FOUND %s: %s\n    %s fails%s\n%s", fault.choice.c_str(), outcome.problem.c_str(),
                record.firedCall, fault.bLasts ? " from now on" : "",
                NameOffsets(session.Program(), offsets).c_str());
    std::istringstream lines(outcome.heard);
    int told = 0;
    for (std::string line; std::getline(lines, line) && told < 70; ++told) {
        std::printf("    | %s\n", line.substr(0, 300).c_str());
    }
    std::fflush(stdout);
}

using Maker = std::unique_ptr<Session> (*)(const std::string&, const std::string&);

// The number of problems.
std::size_t Torture(const char* name, Maker make, const std::string& programs, const std::string& folder,
                    std::size_t runs, const std::string& only) {
    std::vector<std::unique_ptr<Session>> sessions;
    std::vector<std::unique_ptr<Record>> records;
    Tally tally;
    std::vector<Fault> faults;
    for (std::size_t i = 0; i < (only.empty() ? kWorkers : 1); ++i) {
        const std::string own = folder + "/" + name + std::to_string(i);
        fs::create_directories(own);
        records.push_back(std::make_unique<Record>(own + "/record"));
        sessions.push_back(make(programs, own + "/session"));
        records.back()->Clear();
        const Outcome reference = sessions.back()->Run({}, records.back()->Path());
        if (!reference.problem.empty()) {
            std::printf("FOUND %s without a fault: %s\n%s\n", name, reference.problem.c_str(),
                        reference.heard.c_str());
            return 1;
        }
        if (i == 0) {
            std::printf("%s\n", name);
            faults = only.empty() ? Choose(records[0]->Get(), runs, make == MakeDisplaySession)
                                  : std::vector<Fault>{{only, only.ends_with(":0")}};
            std::fflush(stdout);
        }
    }
    const auto work = [&](std::size_t worker) {
        Record& record = *records[worker];
        while (true) {
            std::unique_lock lock(tally.mutex);
            if (tally.next >= faults.size()) {
                return;
            }
            const Fault fault = faults[tally.next++];
            lock.unlock();
            record.Clear();
            const Outcome outcome = sessions[worker]->Run(fault, record.Path());
            lock.lock();
            ++tally.done;
            tally.fired += record.Get().fired > 0 ? 1 : 0;
            if (!outcome.problem.empty() && IsOthers(*sessions[worker], outcome, record.Get())) {
                ++tally.others;
            } else if (!outcome.problem.empty()) {
                ++tally.problems;
                Tell(*sessions[worker], fault, outcome, record.Get());
            } else if (!only.empty()) {
                std::printf("no problem\n%s\n", outcome.heard.c_str());
            }
            if (tally.done % 20 == 0) {
                std::printf("%s: %zu runs of %zu, %zu problems\n", name, tally.done, faults.size(),
                            tally.problems);
                std::fflush(stdout);
            }
        }
    };
    std::vector<std::thread> workers;
    for (std::size_t i = 0; i < sessions.size(); ++i) {
        workers.emplace_back(work, i);
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    std::printf("%s: %zu runs, in %zu a call failed, %zu ended inside a library of others, %zu problems\n",
                name, tally.done, tally.fired, tally.others, tally.problems);
    return tally.problems;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string programs = fs::canonical("/proc/self/exe").parent_path().string();
    const auto runs = static_cast<std::size_t>(argc > 1 ? std::atoi(argv[1]) : kDefaultRuns);
    const std::string program = argc > 2 ? argv[2] : "";
    const std::string only = argc > 3 ? argv[3] : "";
    if (!only.empty()) {
        ::setenv("KV_FAIL_TRACE", "1", 1);
    }
    std::string folder = (fs::temp_directory_path() / "kvtorture-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr) {
        std::perror("torture: folder");
        return 2;
    }
    std::size_t problems = 0;
    if (program.empty() || program == "kvrecorder") {
        problems += Torture("kvrecorder", MakeRecorderSession, programs, folder, runs, only);
    }
    if (program == "display") {
        problems += Torture("kvmon", MakeDisplaySession, programs, folder, runs, only);
    }
    if (program.empty() || program == "kvmon") {
        problems += Torture("kvmon", MakeMonitorSession, programs, folder, runs, only);
    }
    fs::remove_all(folder);
    return problems == 0 ? 0 : 1;
}
