// The fields of a request's body: JSON, under limits, each asked for by name.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "media/secret.h"

namespace kvrecorder {

using Json = nlohmann::ordered_json;

inline constexpr std::size_t kMaxBodyBytes = 64 * 1024;
inline constexpr int kMaxJsonDepth = 8;

// All throw ApiError with status 400, in words that repeat nothing of the body's values.
class JsonFields {
public:
    // An empty body has no fields.
    explicit JsonFields(std::string_view body);
    ~JsonFields();
    JsonFields(const JsonFields&) = delete;
    JsonFields& operator=(const JsonFields&) = delete;

    // Nothing where the field is missing. A text is UTF-8 without control characters.
    std::optional<std::string> Text(const char* name, std::size_t maxBytes);
    std::optional<Secret> Password(const char* name);
    std::optional<int> Number(const char* name, int low, int high);
    // A field that nobody asked for is most likely a misspelt one.
    void Finish() const;

private:
    const Json* Find(const char* name);

    Json m_body;
    std::set<std::string, std::less<>> m_known;
};

}  // namespace kvrecorder
