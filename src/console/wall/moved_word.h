// The word for a camera that the user has brought to another cell.
#pragma once

#include <string>

namespace kvmon {

class CVideoWnd;
class FeedbackLine;

// The name of the cell's camera; empty for none, and for no cell.
std::string CameraNameOf(const CVideoWnd* cell);
// `other` is the camera that the cell had, and that has its place now; empty for none.
void TellMoved(FeedbackLine& feedback, const std::string& camera, const std::string& other);

}  // namespace kvmon
