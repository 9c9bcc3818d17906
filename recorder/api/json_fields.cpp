#include "api/json_fields.h"

#include "api/api_error.h"
#include "media/utf8.h"
#include "state/recorder_config.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMostBytesShown = 40;

[[noreturn]] void Fail(Fault fault, const std::string& field = {}) {
    throw ApiError(400, std::move(fault), field);
}

// Before the library builds anything of it.
bool IsDeep(std::string_view text) {
    int depth = 0;
    bool inText = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inText) {
            i += c == '\\' ? 1 : 0;
            inText = c != '"';
        } else if (c == '"') {
            inText = true;
        } else if (c == '{' || c == '[') {
            if (++depth > kMaxJsonDepth) {
                return true;
            }
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return false;
}

}  // namespace

JsonFields::JsonFields(std::string_view body) : m_body(Json::object()) {
    if (body.empty()) {
        return;
    }
    if (body.size() > kMaxBodyBytes) {
        throw ApiError(413, {FaultCode::BodyTooLarge, {{"limit", kMaxBodyBytes}}});
    }
    if (IsDeep(body)) {
        Fail({FaultCode::BodyTooDeep, {{"limit", kMaxJsonDepth}}});
    }
    m_body = Json::parse(body, nullptr, false);
    if (m_body.is_discarded()) {
        Fail(FaultCode::BodyNotJson);
    }
    if (!m_body.is_object()) {
        Fail(FaultCode::BodyNotObject);
    }
}

JsonFields::~JsonFields() {
    // The value's own iterators throw, and nothing may here.
    auto* const fields = m_body.get_ptr<Json::object_t*>();
    if (!fields) {
        return;
    }
    for (auto& [name, value] : *fields) {
        if (auto* const text = value.get_ptr<std::string*>()) {
            Wipe(*text);
        }
    }
}

const Json* JsonFields::Find(const char* name) {
    m_known.insert(name);
    const auto found = m_body.find(name);
    return found == m_body.end() ? nullptr : &*found;
}

std::optional<std::string> JsonFields::Text(const char* name, std::size_t maxBytes) {
    const Json* const value = Find(name);
    if (!value) {
        return std::nullopt;
    }
    const std::string* const text = value->get_ptr<const std::string*>();
    if (!text || text->size() > maxBytes || !IsDisplayText(*text)) {
        Fail({FaultCode::TextWrong, {{"limit", maxBytes}}}, name);
    }
    return *text;
}

std::optional<Secret> JsonFields::Password(const char* name) {
    auto text = Text(name, 255);
    if (!text) {
        return std::nullopt;
    }
    Secret password(*text);
    Wipe(*text);
    return password;
}

std::optional<int> JsonFields::Number(const char* name, int low, int high) {
    const Json* const value = Find(name);
    if (!value) {
        return std::nullopt;
    }
    // A number without a sign may be larger than the other kind.
    const bool fits = value->is_number_unsigned()
                          ? value->get<std::uint64_t>() <= static_cast<std::uint64_t>(high)
                          : value->is_number_integer() && value->get<std::int64_t>() <= high;
    if (!fits || value->get<std::int64_t>() < low) {
        Fail({FaultCode::NumberWrong, {{"low", low}, {"high", high}}}, name);
    }
    return value->get<int>();
}

void JsonFields::Finish() const {
    for (const auto& [name, value] : m_body.items()) {
        if (!m_known.contains(name)) {
            const std::string shown = PrintableUtf8(name, kMostBytesShown);
            Fail({FaultCode::FieldUnknown, {{"name", shown}}}, shown);
        }
    }
}

}  // namespace kvrecorder
