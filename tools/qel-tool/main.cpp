// qel-tool: what people do with a device besides programming it: list, inspect, watch,
// calibrate, configure, record and plot.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "commands.h"
#include "failure.h"

#ifndef QELTOOL_VERSION
#define QELTOOL_VERSION "unknown"
#endif

namespace {

void usage(std::FILE* out) {
    std::fputs("usage: qel-tool COMMAND [options]\n"
               "       qel-tool COMMAND --help\n"
               "\n"
               "commands:\n",
               out);
    for (const qeltool::Command& c : qeltool::commands())
        std::fprintf(out, "  %-10s %s\n", c.name, c.summary);
    std::fputs("\n"
               "  --version  the tool's version\n"
               "\n",
               out);
    std::fputs(qeltool::kExitStatusHelp, out);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        usage(stderr);
        return qeltool::kUsage;
    }
    const char* name = argv[1];
    if (std::strcmp(name, "-h") == 0 || std::strcmp(name, "--help") == 0) {
        usage(stdout);
        return qeltool::kOk;
    }
    if (std::strcmp(name, "--version") == 0) {
        std::printf("qel-tool %s\n", QELTOOL_VERSION);
        return qeltool::kOk;
    }
    std::vector<std::string> words(argv + 2, argv + argc);
    if (std::strcmp(name, "help") == 0) {
        if (words.empty()) {
            usage(stdout);
            return qeltool::kOk;
        }
        name = argv[2];
        words = {"--help"};
    }
    const qeltool::Command* command = qeltool::findCommand(name);
    if (!command) {
        std::fprintf(stderr, "qel-tool: unknown command '%s' (see qel-tool --help)\n", name);
        return qeltool::kUsage;
    }
    qeltool::Args args(words);
    try {
        if (args.flag({"-h", "--help"})) {
            std::fputs(command->help, stdout);
            return qeltool::kOk;
        }
        return command->run(args);
    } catch (const qeltool::UsageError& e) {
        std::fprintf(stderr, "qel-tool %s: %s\n(see qel-tool %s --help)\n", command->name, e.what(),
                     command->name);
        return e.status;
    } catch (const qeltool::Failure& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "qel-tool %s: %s\n", command->name, e.what());
        return e.status;
    } catch (const std::exception& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "qel-tool %s: %s\n", command->name, e.what());
        return qeltool::kFailed;
    }
}
