// Verbs: the commands beside `surva serve`. Each gives the program's exit code.
#pragma once

#include "program/command_line.h"

namespace surva::program {

// As sysexits.h has it: what was asked for does not answer.
inline constexpr int kUnavailable = 69;

int Init(const Configuration& configuration);
int Demo(const Configuration& configuration);
int Backup(const CommandLine& command_line);
int Restore(const CommandLine& command_line);
// 1 if something is damaged.
int Check(const CommandLine& command_line);
// Asks /healthz of the server that the configuration describes: 0 if all is well, 1 if not, kUnavailable if nobody
// answers.
int Health(const Configuration& configuration);
int Copy(const CommandLine& command_line);
int Anonymise(const CommandLine& command_line);
int Staff(const CommandLine& command_line);
int ShowHistory(const CommandLine& command_line);

}  // namespace surva::program
