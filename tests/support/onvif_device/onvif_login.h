// Both logins as a camera checks them.
#pragma once

#include <ctime>
#include <string>

namespace kvtest {

// A user name token: base64(sha1(nonce + created + password)), made within a minute of the camera's time.
bool IsGoodToken(const std::string& envelope, const std::string& user, const std::string& password,
                 std::time_t now);

// HTTP Digest with MD5 and qop auth.
std::string DigestChallenge();
bool IsGoodDigest(const std::string& head, const std::string& user, const std::string& password);

// The text of the first element of that local name; "" without one.
std::string ElementText(const std::string& xml, const std::string& name);
std::string AttributeText(const std::string& xml, const std::string& element, const std::string& name);

}  // namespace kvtest
