// One query of a round or of a refresh, as the tables of both have it.
#pragma once

#include <cstdint>

#include "server/server_worker.h"

namespace kvmon {

struct QueryStep {
    enum class ToldFor { AllServers, FirstServer };

    const char* name;
    bool (*query)(QueryContext&, CNvrStatus&, std::uint32_t*);
    std::uint32_t code;
    ToldFor told;

    // Of some queries only the first recorder's failure is told.
    void TellFailure(ServerWorker& worker) const {
        if (told == ToldFor::AllServers || worker.Query().GetIdx() == 0) {
            worker.PostFailure(code);
        }
    }
};

}  // namespace kvmon
