// Lines for whoever looks after the machine: on standard error, and where that is the system's journal with
// fields that it can be asked by.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kvhost {

// As the journal counts them.
enum class Level { Error = 3, Warning = 4, Notice = 5, Information = 6 };

struct Line {
    Level level = Level::Notice;
    std::string text;  // one line, without the program's name
    // Names in capitals, as KV_USER. Values of any bytes.
    std::vector<std::pair<std::string, std::string>> fields;
};

class Journal {
public:
    // `socket` is where the journal takes lines with fields.
    explicit Journal(std::string program, std::string socket = "/run/systemd/journal/socket");

    // Never throws. Any thread.
    void Tell(const Line& line) const noexcept;

private:
    bool Send(const Line& line) const;

    const std::string m_program;
    const std::string m_socket;
    const bool m_isJournal;
};

// Whether $JOURNAL_STREAM says that this descriptor leads to the journal.
bool LeadsToJournal(int fd);

}  // namespace kvhost
