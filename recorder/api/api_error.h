// Why a request is not done.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace kvrecorder {

class ApiError : public std::runtime_error {
public:
    // `field` of the body is the one that is wrong; "" for none.
    ApiError(int status, const std::string& words, std::string field = {})
        : std::runtime_error(words), m_status(status), m_field(std::move(field)) {}

    int Status() const { return m_status; }
    const std::string& Field() const { return m_field; }

private:
    int m_status;
    std::string m_field;
};

}  // namespace kvrecorder
