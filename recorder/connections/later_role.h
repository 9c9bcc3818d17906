// Sends the head of a reply at once and its body when that is there: a camera may need its time, and clients
// wait for a first line less long than for the rest.
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
    LaterRole(Link& link, std::string head, const Reply& reply)
        : m_link(link), m_head(std::move(head)), m_make(reply.make) {}

    void Begin() override;
    bool OutlivesPeer() const override { return true; }
    void OnSent() override;
    void OnWoken() override { SendBody(); }

private:
    struct Body {
        std::mutex mutex;
        std::optional<std::string> text;
    };

    void SendBody();

    Link& m_link;
    const std::string m_head;
    const std::function<void(std::function<void(std::string)>)> m_make;
    const std::shared_ptr<Body> m_body = std::make_shared<Body>();
    bool m_done = false;
};

}  // namespace kvrecorder
