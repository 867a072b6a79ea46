// FileCheck: whether the files that a configuration names will do, before a server starts with them.
#pragma once

#include <vector>

#include "program/configuration.h"
#include "wire/tls_check.h"

namespace surva::program {

std::vector<wire::TlsFinding> CheckFiles(const Configuration& configuration);

}  // namespace surva::program
