// Files and folders of what cameras saw and heard: the recorder's own user's alone, or also a group's to
// read.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "media/descriptor.h"

namespace kvrecorder {

using FileGroup = std::optional<gid_t>;

// Opens a new file for writing: 0600, or 0640 for the group. Throws std::runtime_error with words for the
// user, also if there is such a file already.
Descriptor MakePrivateFile(const std::string& path, FileGroup group);
// Makes the folder if there is none: 0700, or 0750 for the group. One that is there stays as it is. Throws
// as above.
void MakePrivateFolder(const std::string& path, FileGroup group);

}  // namespace kvrecorder
