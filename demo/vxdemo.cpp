// vxdemo - Veltrix's demonstration program.
//
// Built only on the library's public headers and the stand-alone host, as an
// effect plug-in would be. Run with no arguments it renders a gallery of the
// generators into ./out (OpenEXR images, PNG previews and an index.html);
// commands render one effect with chosen parameters. Every picture is
// rendered row by row on all processors.
//
// Exit codes: 0 done, 1 a file could not be read or written (or memory ran
// out), 2 a bad command line, 130 stopped by Ctrl-C, 143 ended by SIGTERM.
#include "demoCommands.h"
#include "demoSignals.h"

#include <cstdio>
#include <new>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    if (asksForHelp(words)) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    const std::vector<Command>& table = commands();
    const Command* command = &table.front();
    if (!words.empty() && words[0].compare(0, 2, "--") != 0) {
        command = nullptr;
        for (const Command& c : table) {
            if (words[0] == c.name) {
                command = &c;
            }
        }
        if (command == nullptr) {
            std::fprintf(stderr,
                         "vxdemo: unknown command '%s'\n(vxdemo help lists the commands and "
                         "options)\n",
                         words[0].c_str());
            return 2;
        }
        words.erase(words.begin());
    }
    Options options;
    std::string error;
    if (!options.parse(words, command->options, command->takesFiles, error)) {
        std::fprintf(stderr, "vxdemo: %s\n(vxdemo help lists the commands and options)\n",
                     error.c_str());
        return 2;
    }
    installSignalHandlers();
    try {
        const int status = command->run(options);
        // Ctrl-C after the last check still ends the run as interrupted.
        return status == 0 && interruptRequested() ? interruptedExit() : status;
    } catch (const std::bad_alloc&) {
        // Unwinding has removed any temporary file.
        std::fprintf(stderr, "vxdemo: out of memory\n");
        return 1;
    }
}
