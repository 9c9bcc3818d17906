// What a user is told of a snapshot: that it is saved, and where, or why it is not.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "console/camera/snapshot_writer.h"
#include "console/ports/client_site.h"
#include "platform/worker.h"

namespace kvmon {

class Desk;
class FeedbackLine;
struct FeedbackLink;

// Puts the picture onto the desktop's clipboard.
void CopyPicture(const Snapshot& picture);

// User interface thread only.
class SnapshotNews {
public:
    SnapshotNews(Desk& desk, FeedbackLine& feedback, ClientSite& site)
        : m_desk(desk), m_feedback(feedback), m_site(site) {}

    // What "Today" opens; without it there is no such link.
    void SetGallery(std::function<void()> open) { m_gallery = std::move(open); }
    // For a picture that could not be saved: asks for another place.
    void SetSaveAs(std::function<void(const SnapshotOrder&)> ask) { m_saveAs = std::move(ask); }

    void TellSaved(const SnapshotOrder& order);
    // The picture is kept as long as the word stands, for another try.
    void TellFailure(const SnapshotOrder& order, const SnapshotFailure& failure);

private:
    std::vector<FeedbackLink> LinksForPage(const SnapshotOrder& order);
    void Give(const SnapshotOrder& order, GivenPicture::Use use);

    Desk& m_desk;
    FeedbackLine& m_feedback;
    ClientSite& m_site;
    Worker m_reader;
    const std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
    std::function<void()> m_gallery;
    std::function<void(const SnapshotOrder&)> m_saveAs;
};

}  // namespace kvmon
