#include "web/session/json_rpc.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

namespace kvmon {

namespace {

constexpr qsizetype kMaxBatch = 32;
constexpr qsizetype kMaxArguments = 8;
constexpr double kTrue = -1;  // as automation has it

struct RpcError {
    int code;
    const char* message;
};
constexpr RpcError kParseError{-32700, "Parse error"};
constexpr RpcError kInvalidRequest{-32600, "Invalid Request"};
constexpr RpcError kNoMethod{-32601, "Method not found"};
constexpr RpcError kInvalidParams{-32602, "Invalid params"};

QString ToQt(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

bool IsWhole(double number) {
    return std::trunc(number) == number && number >= std::numeric_limits<std::int32_t>::min() &&
           number <= std::numeric_limits<std::int32_t>::max();
}

// False for what no member takes: lists and objects.
bool AppendArgument(const QJsonValue& value, std::vector<Variant>& arguments) {
    switch (value.type()) {
        case QJsonValue::Null:
            arguments.emplace_back();
            return true;
        case QJsonValue::String:
            arguments.emplace_back(value.toString().toStdString());
            return true;
        case QJsonValue::Bool:
            arguments.emplace_back(OtherValue{value.toBool() ? kTrue : 0});
            return true;
        case QJsonValue::Double:
            if (IsWhole(value.toDouble())) {
                arguments.emplace_back(static_cast<std::int32_t>(value.toDouble()));
            } else {
                arguments.emplace_back(OtherValue{value.toDouble()});
            }
            return true;
        default:
            return false;
    }
}

QJsonValue ToJson(const Variant& value) {
    if (const auto* const text = std::get_if<std::string>(&value)) {
        return ToQt(*text);
    }
    if (const auto* const number = std::get_if<std::int32_t>(&value)) {
        return *number;
    }
    if (const auto* const other = std::get_if<OtherValue>(&value)) {
        return other->number;
    }
    return QJsonValue(QJsonValue::Null);
}

QJsonObject Envelope(const QJsonValue& id) {
    return {{"jsonrpc", "2.0"}, {"id", id.isUndefined() ? QJsonValue(QJsonValue::Null) : id}};
}

QJsonObject ErrorAnswer(const QJsonValue& id, const RpcError& error) {
    QJsonObject answer = Envelope(id);
    answer["error"] = QJsonObject{{"code", error.code}, {"message", error.message}};
    return answer;
}

bool IsId(const QJsonValue& id) {
    return id.isUndefined() || id.isNull() || id.isString() || id.isDouble();
}

std::pair<std::string, MemberKind> SplitMethod(const std::string& method) {
    if (method.starts_with("get.")) {
        return {method.substr(4), MemberKind::Get};
    }
    if (method.starts_with("put.")) {
        return {method.substr(4), MemberKind::Put};
    }
    return {method, MemberKind::Method};
}

std::optional<std::vector<Variant>> ToArguments(const QJsonValue& params) {
    std::vector<Variant> arguments;
    if (params.isUndefined()) {
        return arguments;
    }
    const QJsonArray array = params.toArray();
    if (!params.isArray() || array.size() > kMaxArguments) {
        return std::nullopt;
    }
    for (const QJsonValue value : array) {
        if (!AppendArgument(value, arguments)) {
            return std::nullopt;
        }
    }
    return arguments;
}

// Nothing for a notification.
std::optional<QJsonObject> Answer(const QJsonValue& value, const MemberCall& call) {
    const QJsonObject request = value.toObject();
    const QJsonValue id = request["id"];
    if (!value.isObject() || request["jsonrpc"] != QJsonValue("2.0") || !request["method"].isString() ||
        !IsId(id)) {
        return ErrorAnswer(IsId(id) ? id : QJsonValue(QJsonValue::Null), kInvalidRequest);
    }
    const auto [name, kind] = SplitMethod(request["method"].toString().toStdString());
    QJsonObject answer = Envelope(id);
    const AutomationMember* const member = FindMember(name, kind);
    if (member == nullptr) {
        answer = ErrorAnswer(id, kNoMethod);
    } else if (const auto arguments = ToArguments(request["params"])) {
        const CallResult result = call(*member, *arguments);
        if (result.status == CallStatus::BadArguments) {
            answer = ErrorAnswer(id, kInvalidParams);
        } else {
            answer["result"] = ToJson(result.value);
        }
    } else {
        answer = ErrorAnswer(id, kInvalidParams);
    }
    return id.isUndefined() ? std::nullopt : std::optional(answer);
}

std::string Compact(const QJsonDocument& document) {
    return document.toJson(QJsonDocument::Compact).toStdString();
}

}  // namespace

std::string AnswerJsonRpc(std::string_view text, const MemberCall& call) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(
        QByteArray::fromRawData(text.data(), static_cast<qsizetype>(text.size())), &error);
    if (error.error != QJsonParseError::NoError) {
        return Compact(QJsonDocument(ErrorAnswer({}, kParseError)));
    }
    if (!document.isArray()) {
        const auto answer = Answer(document.object(), call);
        return answer ? Compact(QJsonDocument(*answer)) : std::string();
    }
    const QJsonArray batch = document.array();
    if (batch.isEmpty() || batch.size() > kMaxBatch) {
        return Compact(QJsonDocument(ErrorAnswer({}, kInvalidRequest)));
    }
    QJsonArray answers;
    for (const QJsonValue request : batch) {
        if (const auto answer = Answer(request, call)) {
            answers.append(*answer);
        }
    }
    return answers.isEmpty() ? std::string() : Compact(QJsonDocument(answers));
}

std::string JsonRpcEvent(std::string_view name, std::span<const Variant> arguments) {
    QJsonArray params;
    for (const Variant& argument : arguments) {
        params.append(ToJson(argument));
    }
    return Compact(
        QJsonDocument(QJsonObject{{"jsonrpc", "2.0"}, {"method", ToQt(name)}, {"params", params}}));
}

}  // namespace kvmon
