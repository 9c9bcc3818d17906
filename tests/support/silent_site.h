// A host of the console that only says where the recorder is.
#pragma once

#include <cstdint>
#include <string>

#include "console/ports/client_site.h"

namespace kvtest {

class SilentSite : public kvmon::ClientSite {
public:
    explicit SilentSite(std::uint32_t port = 0) : m_port(port) {}
    std::string GetServerIP() const override { return "127.0.0.1"; }
    std::uint32_t GetServerPort() const override { return m_port; }
    std::string GetDefServerName() const override { return {}; }
    void NotifyLogin(int) override {}
    void NotifyLogout(int) override {}
    void NotifyNewVersion(int) override {}
    void NotifyChangeLanguage(std::uint16_t) override {}
    void NotifyGotoPage(int) override {}
    void NotifyGotoServer(int, const std::string&) override {}

private:
    std::uint32_t m_port;
};

}  // namespace kvtest
