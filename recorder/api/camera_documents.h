// What the interface tells of cameras. Inside this folder only.
#pragma once

#include "api/camera_jobs.h"
#include "api/json_fields.h"
#include "state/recorder_model.h"

namespace kvrecorder {

// A name for the channels as they are: another one as soon as one is another, or in another place.
std::string RevisionOf(const Snapshot& state);
Json DescribeCamera(const Snapshot& state, MediaHub& hub, int channel);
Json DescribeCameras(const Snapshot& state, MediaHub& hub);
Json DescribeSearch(const SearchOutcome& outcome);
Json DescribeTest(int number, const TestOutcome& outcome);

}  // namespace kvrecorder
