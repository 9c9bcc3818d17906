// The documents of a recorder whose channels are other ones.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "document_lies.h"

namespace hostile {

namespace {

constexpr std::size_t kWord = 8;  // hexadecimal digits of a scrambled word
// The two lines of a channel in the list, and those of the further document.
constexpr std::size_t kListLines = 2;
constexpr std::size_t kFurtherLines = 7;
constexpr std::size_t kLanPort = 64;
constexpr std::size_t kPortDigits = 6;

using Lines = std::vector<std::string>;

Lines SplitLines(const std::string& text) {
    Lines lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
        lines.push_back(text.substr(at, end - at));
        at = end;
    }
    return lines;
}

std::string Join(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line;
    }
    return text;
}

std::string Unscramble(const std::string& line) {
    std::string text;
    const auto word = [&](std::size_t n) {
        return std::strtoul(line.substr(n * kWord, kWord).c_str(), nullptr, 16);
    };
    for (std::size_t n = 1; (n + 1) * kWord <= line.size(); ++n) {
        text += static_cast<char>(word(0) ^ word(n));
    }
    return text;
}

std::string ScrambleAgain(const std::string& text) {
    std::string line(kWord, '0');
    for (const char c : text) {
        char word[kWord + 1];
        std::snprintf(word, sizeof word, "%08X", static_cast<unsigned>(static_cast<unsigned char>(c)));
        line += word;
    }
    return line + "\n";
}

// Where the records of a document begin, and where they end.
struct Records {
    explicit Records(const Lines& lines) {
        first = static_cast<std::size_t>(std::find(lines.begin(), lines.end(), "//----------\n") -
                                         lines.begin()) +
                1;
        last =
            static_cast<std::size_t>(std::find(lines.begin(), lines.end(), "----------//\n") - lines.begin());
    }
    bool Exist() const { return first < last; }
    std::size_t first = 0;
    std::size_t last = 0;
};

// The number behind this word is another one.
void SetNumber(std::string& text, const std::string& word, int number) {
    const std::size_t at = text.find(word);
    if (at != std::string::npos) {
        const std::size_t end = text.find_first_not_of("0123456789", at + word.size());
        text.replace(at + word.size(), end - at - word.size(), std::to_string(number));
    }
}

}  // namespace

OtherRecorder::OtherRecorder(Dice dice) {
    constexpr int kMore[] = {0, 0, 1, 3, -1, -4, -100, 40};
    constexpr const char* kCodes[] = {"", "ZIVG", "Z264", "ZV7K", "XXXX", "MJPG"};
    constexpr int kStreams[] = {0, 1, 3, 3, 200};
    m_code = dice.Of(kCodes);
    m_streams = dice.Of(kStreams);
    if (dice.OneIn(3)) {
        return;  // the same channels, of other streams
    }
    m_more = dice.Of(kMore);
    m_renamed = dice.OneIn(2);
    m_turned = dice.OneIn(3);
    m_shift = static_cast<int>(dice.Below(3));
}

int OtherRecorder::Channels(int count) const {
    return std::max(count + m_more, 0);
}

std::string OtherRecorder::Reply(const std::string& path, const std::string& reply) const {
    const std::size_t end = reply.find("\r\n\r\n");
    if (end == std::string::npos) {
        return reply;
    }
    const std::string body = reply.substr(end + 4);
    const auto is = [&](const char* name) { return path.find(name) != std::string::npos; };
    const std::string other = is("get_init_info")        ? List(body)
                              : is("z_status")           ? Status(body)
                              : is("get_ext_info")       ? Further(body)
                              : is("getmultistreaminfo") ? Streams(body)
                                                         : body;
    return "HTTP/1.0 200 OK\r\n\r\n" + other;
}

std::string OtherRecorder::List(const std::string& body) const {
    Lines lines = SplitLines(body);
    const Records records(lines);
    if (!records.Exist()) {
        return body;
    }
    const int count = static_cast<int>((records.last - records.first) / kListLines);
    std::vector<std::string> kept;
    for (int n = 0; n < Channels(count); ++n) {
        const int like = m_turned && n < 2 && count > 1 ? 1 - n : std::min(n, count - 1);
        const std::size_t at = records.first + static_cast<std::size_t>(like) * kListLines;
        std::string address = Unscramble(lines[at]);
        char number[12];  // of any number, as the compiler sees it
        std::snprintf(number, sizeof number, "%03d", n % 1000);
        address.replace(0, 3, number);
        kept.push_back(ScrambleAgain(address));
        kept.push_back(lines[at + 1]);
    }
    std::string head = Join({lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(records.first)});
    SetNumber(head, "channel number=", Channels(count));
    if (m_renamed) {
        head.insert(head.find("server name=") + 12, "Other ");
    }
    return head + Join(kept) + "----------//\n";
}

std::string OtherRecorder::Status(const std::string& body) const {
    Lines lines = SplitLines(body);
    if (lines.size() < 2) {
        return body;
    }
    const auto count = static_cast<std::size_t>(std::atoi(lines[1].substr(0, 3).c_str()));
    const auto wanted = static_cast<std::size_t>(Channels(static_cast<int>(count)));
    char number[4];
    std::snprintf(number, sizeof number, "%03zu", wanted % 1000);
    std::string states = number;
    for (std::size_t section = 0; section < 5; ++section) {
        std::string part =
            lines[1].size() > 3 + section * count ? lines[1].substr(3 + section * count, count) : "";
        part.resize(wanted, '1');
        states += part;
    }
    std::string text = lines[0] + states + "\n";
    for (std::size_t n = 0; n < wanted; ++n) {
        text += (m_renamed ? "Other " : "") + (n + 2 < lines.size() ? lines[n + 2] : "Further\n");
    }
    return text;
}

std::string OtherRecorder::Further(const std::string& body) const {
    const Lines lines = SplitLines(body);
    const Records records(lines);
    if (!records.Exist()) {
        return body;
    }
    const int count = static_cast<int>((records.last - records.first) / kFurtherLines);
    std::string text = Join({lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(records.first)});
    SetNumber(text, "channel number=", Channels(count));
    for (int n = 0; n < Channels(count); ++n) {
        const int like = m_turned && n < 2 && count > 1 ? 1 - n : std::min(n, count - 1);
        for (std::size_t i = 0; i < kFurtherLines; ++i) {
            text += lines[records.first + static_cast<std::size_t>(like) * kFurtherLines + i];
        }
    }
    return text + "----------//\n";
}

std::string OtherRecorder::Streams(std::string body) const {
    if (m_streams == 0) {
        return body;
    }
    std::string text = "<multistream><return>0</return>";
    for (int n = 0; body.find("<ch" + std::to_string(n) + ">") != std::string::npos; ++n) {
        const std::string name = "ch" + std::to_string(n);
        text += "<" + name + "><stream_no>" + std::to_string(m_streams) + "</stream_no>";
        for (int m = 0; m < m_streams; ++m) {
            const std::string stream = "stream" + std::to_string(m);
            text += "<" + stream + "><id>" + std::to_string(m) + "</id><fcc>" +
                    (m_code.empty() ? "Z264" : m_code) + "</fcc><resolution>" +
                    std::to_string(1 + (m_streams - m) % 5) + "</resolution></" + stream + ">";
        }
        text += "</" + name + ">";
    }
    return text + "</multistream>";
}

std::string WithCameraPort(const std::string& reply, std::uint16_t port, int* pCameraPort) {
    Lines lines = SplitLines(reply);
    const Records records(lines);
    for (std::size_t at = records.first + 1; records.Exist() && at < records.last; at += kListLines) {
        std::string account = Unscramble(lines[at]);
        std::string number = std::to_string(port);
        number.insert(0, kPortDigits - number.size(), ' ');
        const int told = account.size() > kLanPort ? std::atoi(account.c_str() + kLanPort) : 0;
        // Cameras that are no recorder's own stand at the port of pages.
        if (told > 80) {
            *pCameraPort = told;
            lines[at] = ScrambleAgain(account.replace(kLanPort, kPortDigits, number));
        }
    }
    return Join(lines);
}

}  // namespace hostile
