#include "document_lies.h"

#include <algorithm>
#include <iterator>

namespace hostile {

namespace {

constexpr std::size_t kMostGarbage = 64 << 10;

std::string Garbage(Dice& dice, std::size_t size) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(dice.Next());
    }
    return bytes;
}

std::size_t BodyOf(const std::string& reply) {
    const std::size_t end = reply.find("\r\n\r\n");
    return end == std::string::npos ? 0 : end + 4;
}

Told Cut(const std::string& reply, Dice& dice) {
    constexpr Ending kEndings[] = {Ending::Close, Ending::Close, Ending::Reset, Ending::Stall, Ending::Drip};
    const std::size_t at = dice.Below(reply.size() + 1);
    return {reply.substr(0, at), dice.Of(kEndings), reply.substr(at)};
}

Told Nonsense(const std::string&, Dice& dice) {
    const std::string head = dice.OneIn(2) ? "HTTP/1.0 200 OK\r\n\r\n" : "";
    return {
        head + Garbage(dice, dice.Below(kMostGarbage)), dice.OneIn(4) ? Ending::Stall : Ending::Close, {}};
}

Told EndlessHead(const std::string&, Dice& dice) {
    return {
        "HTTP/1.0 200 OK\r\n", Ending::Flood,
        dice.OneIn(2) ? "X-Word: " + std::string(dice.Below(4096), 'x') + "\r\n" : std::string(4096, 'x')};
}

Told EndlessBody(const std::string& reply, Dice& dice) {
    const std::size_t at = BodyOf(reply) + dice.Below(reply.size() - BodyOf(reply) + 1);
    return {reply.substr(0, at), Ending::Flood, dice.OneIn(2) ? reply.substr(BodyOf(reply)) + "\n" : "1"};
}

Told Length(const std::string& reply, Dice& dice) {
    constexpr const char* kLengths[] = {"0", "1", "-1", "2147483648", "99999999999999999999", "x"};
    const std::size_t end = reply.find("\r\n");
    if (end == std::string::npos) {
        return {};
    }
    return {reply.substr(0, end + 2) + "Content-Length: " + dice.Of(kLengths) +
                "\r\nContent-length: " + dice.Of(kLengths) + reply.substr(end),
            Ending::Close,
            {}};
}

Told HalfHead(const std::string& reply, Dice& dice) {
    const std::size_t at = dice.Below(BodyOf(reply) + 1);
    return {reply.substr(0, at) + (dice.OneIn(2) ? "\r" : "\n"),
            dice.OneIn(2) ? Ending::Stall : Ending::Close,
            {}};
}

Told Spoilt(const std::string& reply, Dice& dice) {
    Told told{reply, Ending::Close, {}};
    for (std::size_t i = 0; i <= dice.Below(20) && !reply.empty(); ++i) {
        told.bytes[dice.Below(reply.size())] = static_cast<char>(dice.Next());
    }
    return told;
}

// Lines are left out, told twice or change places.
Told WrongOrder(const std::string& reply, Dice& dice) {
    Told told{reply.substr(0, BodyOf(reply)), Ending::Close, {}};
    std::string held;
    for (std::size_t at = BodyOf(reply); at < reply.size();) {
        const std::size_t end = std::min(reply.find('\n', at), reply.size() - 1) + 1;
        const std::string line = reply.substr(at, end - at);
        at = end;
        switch (dice.Below(8)) {
            case 0:
                break;
            case 1:
                told.bytes += line + line;
                break;
            case 2:
                held += line;
                break;
            default:
                told.bytes += line + held;
                held.clear();
                break;
        }
    }
    return told;
}

Told Status(const std::string&, Dice& dice) {
    constexpr const char* kLines[] = {"HTTP/1.0 404 Not Found", "HTTP/1.0 500 Oh",
                                      "HTTP/1.0 200",           "200 OK",
                                      "HTTP/1.0 503 Busy",      "HTTP/1.0 -1 No",
                                      "HTTP/1.1 302 Elsewhere", "HTTP/1.0 99999999999 No",
                                      "HTTP/1.0  200 OK",       ""};
    return {std::string(dice.Of(kLines)) + "\r\n\r\n", Ending::Close, {}};
}

Told Silence(const std::string&, Dice& dice) {
    return {{}, dice.OneIn(3) ? Ending::Stall : dice.OneIn(2) ? Ending::Reset : Ending::Close, {}};
}

constexpr Told (*kLies[])(const std::string&, Dice&) = {
    Cut,      Cut,    Cut,    Nonsense,   EndlessHead, EndlessBody, Length,
    HalfHead, Spoilt, Spoilt, WrongOrder, Status,      Silence,
};

}  // namespace

Told SpoilReply(const std::string& reply, bool mayRefuse, Dice& dice) {
    if (mayRefuse && dice.OneIn(20)) {
        return {"HTTP/1.0 401 Unauthorized\r\nWWW-Authenticate: Digest realm=\"" + Garbage(dice, 20) +
                    "\", nonce=\"\r\n\r\n",
                Ending::Close,
                {}};
    }
    return dice.Of(kLies)(reply, dice);
}

}  // namespace hostile
