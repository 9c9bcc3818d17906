// Sends one text, then ends.
#pragma once

#include <string>

#include "connections/role.h"

namespace kvrecorder {

class DocumentRole : public Role {
public:
    DocumentRole(Link& link, std::string text) : m_link(link), m_text(std::move(text)) {}

    void Begin() override { m_link.Send(m_text); }
    // A document goes out whole even to a peer that has closed its own side.
    bool OutlivesPeer() const override { return true; }
    void OnSent() override { m_link.Linger(); }

private:
    Link& m_link;
    const std::string m_text;
};

}  // namespace kvrecorder
