// The text of a configuration file, of which the tables of channels are changed and all else stays as it is:
// comments, order, blank lines, the mark of its end.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "media/secret.h"

namespace kvrecorder {

// What is written of a camera. What the file says beside it stays.
struct SourceText {
    std::string url;
    std::string subUrl;
    std::string user;
    Secret password;  // the one that holds, new or not
    std::string transport;
    bool newPassword = true;  // false: the file says it, or the file that it names
    std::string certificate = {};
};

// Each change is made on the text as the one before left it. All throw ConfigError, with words for the user,
// where the text is written in a way that is left to people; it is then as before.
class ConfigText {
public:
    explicit ConfigText(std::string text) : m_text(std::move(text)) {}
    ~ConfigText() { Wipe(m_text); }
    ConfigText(const ConfigText&) = delete;
    ConfigText& operator=(const ConfigText&) = delete;

    const std::string& Text() const { return m_text; }

    void Rename(int channel, std::string_view name);
    void SetSource(int channel, const SourceText& source);
    // Takes the first place that was left by Remove(), else one behind the others. Gives its number.
    int Add(std::string_view name, const SourceText& source);
    // The channels between the two places move by one. Comments above a channel go with it, and users whose
    // rights name channels by their numbers keep them for the same cameras.
    void Move(int from, int to);
    // Leaves the place without a camera, so that those behind it keep their numbers; the last one goes.
    void Remove(int channel);

private:
    void SetOrDropKey(int channel, const char* key, std::string_view value);
    void SetKey(int channel, const char* key, std::string_view value);
    void DropKey(int channel, const char* key);
    // The address in the file has a login in it.
    bool SaysLogin(int channel);

    std::string m_text;
};

}  // namespace kvrecorder
