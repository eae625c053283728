// A bar at the bottom of the terminal that standard error is; nothing where it is none. Windows only.
#pragma once

#include "pdb_client/program/verification.h"

namespace qv::profiler::pdb_client {

class progress_bar final : public progress {
public:
    progress_bar();

    void show(std::size_t done, std::size_t all) override;
    void clear() override;

private:
    std::size_t width_;  // 0 where nothing is shown
    bool is_shown_ = false;
};

}  // namespace qv::profiler::pdb_client
