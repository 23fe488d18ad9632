// demoCommands.h - the demonstration program's commands: one table of their
// names, the options each takes and the function that runs it.
#ifndef VX_DEMO_COMMANDS_H
#define VX_DEMO_COMMANDS_H

#include "demoOptions.h"

#include <string>
#include <vector>

struct Command {
    const char* name;
    std::vector<std::string> options; // the names it knows, without "--"
    bool takesFiles;                  // file names after the command word
    int (*run)(const Options& options);
};

// Every command; the first, gallery, runs when no command word is given.
const std::vector<Command>& commands();

extern const char* const kUsage;

#endif
