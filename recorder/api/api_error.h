// Why a request is not done.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "media/fault.h"

namespace kvrecorder {

class ApiError : public std::runtime_error {
public:
    // `field` of the body is the one that is wrong; "" for none.
    ApiError(int status, Fault fault, std::string field = {})
        : std::runtime_error(fault.words),
          m_status(status),
          m_fault(std::move(fault)),
          m_field(std::move(field)) {}

    int Status() const { return m_status; }
    const Fault& Told() const { return m_fault; }
    const std::string& Field() const { return m_field; }

private:
    int m_status;
    Fault m_fault;
    std::string m_field;
};

}  // namespace kvrecorder
