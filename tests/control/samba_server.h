// A Samba server on the loopback address, with the rights of whoever runs the test.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace kvtest {

// Serves the share "recordings", with the folder "day 1" and the file "day 1/clip.avi" in it, and the empty
// share "other" to the user "guard" with the password "secret".
class SambaServer {
public:
    static constexpr const char* kUser = "guard";
    static constexpr const char* kPassword = "secret";

    // Null, with the reason, where there is no smbd or it cannot run.
    static std::unique_ptr<SambaServer> Start(std::string& problem);
    ~SambaServer();

    std::uint16_t Port() const { return m_port; }
    // "open SHARE" and "close SHARE", as the server sees its connections come and go.
    std::vector<std::string> Events() const;
    // Waits for `count` events in all.
    bool WaitForEvents(std::size_t count) const;

private:
    SambaServer(const std::string& program, const std::string& account);
    void WriteFiles(const std::string& account) const;
    bool Run(const std::string& program);

    TempFolder m_folder;
    std::uint16_t m_port = 0;
    pid_t m_pid = -1;
};

}  // namespace kvtest
