#pragma once

namespace pdactl {

/** What the command line says about the way in which a command is carried out. */
struct Settings {
    bool asJson = false;
    bool verbose = false;
    bool isDryRun = false;
};

} // namespace pdactl
