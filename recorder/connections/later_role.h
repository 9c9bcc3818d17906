// Waits for a document that is made elsewhere, and sends it.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "answers/reply.h"
#include "connections/role.h"

namespace kvrecorder {

class LaterRole : public Role {
public:
    // A head is sent at once, and of what is found later the body alone. Without one all comes later.
    LaterRole(Link& link, std::string head, Reply::Find find)
        : m_link(link), m_head(std::move(head)), m_find(std::move(find)) {}

    void Begin() override;
    bool OutlivesPeer() const override { return true; }
    void OnSent() override;
    void OnWoken() override;

private:
    // Outlives the role where the document comes too late.
    struct Box {
        std::mutex mutex;
        std::optional<Reply> reply;
    };

    Link& m_link;
    const std::string m_head;
    const Reply::Find m_find;
    const std::shared_ptr<Box> m_box = std::make_shared<Box>();
    bool m_done = false;
};

}  // namespace kvrecorder
