// What a user is told of a snapshot: that it is saved, and where, or why it is not.
#pragma once

#include <functional>
#include <string>

#include "console/camera/snapshot_writer.h"

namespace kvmon {

class ClientSite;
class Desk;
class FeedbackLine;

// Puts the picture onto the desktop's clipboard.
void CopyPicture(const Snapshot& picture);

// User interface thread only.
class SnapshotNews {
public:
    SnapshotNews(Desk& desk, FeedbackLine& feedback, const ClientSite& site)
        : m_desk(desk), m_feedback(feedback), m_site(site) {}

    // What "Today" opens; without it there is no such link.
    void SetGallery(std::function<void()> open) { m_gallery = std::move(open); }
    // For a picture that could not be saved: asks for another place.
    void SetSaveAs(std::function<void(const SnapshotOrder&)> ask) { m_saveAs = std::move(ask); }

    void TellSaved(const SnapshotOrder& order);
    // The picture is kept as long as the word stands, for another try.
    void TellFailure(const SnapshotOrder& order, const SnapshotFailure& failure);

private:
    Desk& m_desk;
    FeedbackLine& m_feedback;
    const ClientSite& m_site;
    std::function<void()> m_gallery;
    std::function<void(const SnapshotOrder&)> m_saveAs;
};

}  // namespace kvmon
