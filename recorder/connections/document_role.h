// Sends one text, then ends.
#pragma once

#include <string>

#include "connections/role.h"

namespace kvrecorder {

class DocumentRole : public Role {
public:
    DocumentRole(Link& link, std::string text) : link_(link), text_(std::move(text)) {}

    void Begin() override { link_.Send(text_); }
    // A document goes out whole even to a peer that has closed its own side.
    bool OutlivesPeer() const override { return true; }
    void OnSent() override { link_.Linger(); }

private:
    Link& link_;
    const std::string text_;
};

}  // namespace kvrecorder
