// Changes of cameras, from the body of a request into the configuration file. Inside this folder only.
#pragma once

#include "api/config_changes.h"
#include "api/json_fields.h"
#include "state/recorder_model.h"

namespace kvrecorder {

// All throw ApiError, and give what the recorder could not take over, in words.
class CameraChanges {
public:
    // Without `changes` nothing can be kept.
    CameraChanges(RecorderModel& model, ConfigChanges* changes) : m_model(model), m_changes(changes) {}

    // Why no change can be kept; empty if it can.
    Fault Obstacle() const;
    // `added` gets the number.
    std::string Add(JsonFields& body, int& added) const;
    std::string Change(int channel, JsonFields& body) const;
    std::string Move(int channel, JsonFields& body, int& to) const;
    std::string Remove(int channel, std::string_view revision) const;
    // The camera of a test's body: a channel's, others, or one with other values than a channel's.
    NetworkCamera ForTest(JsonFields& body) const;

private:
    std::string Make(std::string_view revision, const std::function<void(ConfigText& text)>& edit) const;

    RecorderModel& m_model;
    ConfigChanges* const m_changes;
};

}  // namespace kvrecorder
