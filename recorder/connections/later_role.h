// Waits for a document that is made elsewhere, and sends it.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "answers/reply.h"
#include "connections/role.h"

namespace kvrecorder {

class LaterRole : public Role {
public:
    using Find = std::function<void(std::function<void(Reply)> done)>;

    LaterRole(Link& link, Find find) : m_link(link), m_find(std::move(find)) {}

    void Begin() override;
    bool OutlivesPeer() const override { return true; }
    void OnWoken() override;

private:
    // Outlives the role where the document comes too late.
    struct Box {
        std::mutex mutex;
        std::optional<Reply> reply;
    };

    Link& m_link;
    const Find m_find;
    const std::shared_ptr<Box> m_box = std::make_shared<Box>();
};

}  // namespace kvrecorder
