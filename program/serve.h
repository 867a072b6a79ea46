// The server from its first to its last moment: database, sessions, workers, sockets, signals.
#pragma once

#include "program/configuration.h"

namespace surva::program {

// Serves until SIGTERM or SIGINT; gives the exit code. Throws UsageError for what the starter can mend.
int Serve(const Configuration& configuration);

}  // namespace surva::program
