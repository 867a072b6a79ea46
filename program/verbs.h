// Verbs: the commands beside `surva serve`. Each gives the program's exit code.
#pragma once

#include "program/command_line.h"

namespace surva::program {

int Init(const Configuration& configuration);
int Demo(const Configuration& configuration);
int Backup(const CommandLine& command_line);
int Restore(const CommandLine& command_line);
// 1 if something is damaged.
int Check(const CommandLine& command_line);
int Copy(const CommandLine& command_line);
int Anonymise(const CommandLine& command_line);
int Staff(const CommandLine& command_line);
int ShowHistory(const CommandLine& command_line);

}  // namespace surva::program
