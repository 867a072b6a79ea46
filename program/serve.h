// The server from its first to its last moment: database, sessions, workers, sockets, signals.
#pragma once

#include "frame/data/database.h"
#include "program/configuration.h"

namespace surva::program {

// Serves until SIGTERM or SIGINT; gives the exit code. Throws UsageError for what the starter can mend.
int Serve(const Configuration& configuration);

// Whether staff have to sign in. Throws a UsageError for pages that nobody guards on an address beyond this machine.
bool IsGuarded(const Configuration& configuration, data::Database& database);

}  // namespace surva::program
