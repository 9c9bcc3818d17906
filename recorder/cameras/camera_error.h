// What is wrong with a camera, in words for whoever looks after it.
#pragma once

#include <stdexcept>
#include <utility>

#include "media/fault.h"

namespace kvrecorder {

class CameraError : public std::runtime_error {
public:
    explicit CameraError(Fault fault) : std::runtime_error(fault.words), m_fault(std::move(fault)) {}

    const Fault& Told() const { return m_fault; }

private:
    Fault m_fault;
};

}  // namespace kvrecorder
