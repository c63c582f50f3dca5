// qel-tool serve: reads the command line into ServeOptions.
#include "commands.h"
#include "failure.h"
#include "serve.h"

namespace qeltool {

const char kServeHelp[] =
    "usage: qel-tool serve [--port P] [--bind ADDRESS] [-d N | --serial S]\n"
    "\n"
    "Serves a live diagnostic page of a device: a 3D view of the arm with the force and the\n"
    "reachable workspace, strip charts of position, velocity and force, the loop rate,\n"
    "buttons, drives and errors, the device's identity, registers and calibration limits.\n"
    "It prints the page's address with a random token: only a page opened with the token may\n"
    "switch force output, drives and gravity compensation, apply a test force (at most 2 N,\n"
    "held only while the page is open) or load the calibration; without it the page is\n"
    "read-only. The drives are switched off when the tool ends (Ctrl-C).\n"
    "\n"
    "options:\n"
    "  -p, --port P         the TCP port, 0 for any free one (default 8480)\n"
    "      --bind ADDRESS   the address to listen on (default 127.0.0.1, this machine "
    "only)\n" QELTOOL_SELECTION_HELP;

int runServe(Args& args) {
    ServeOptions options;
    if (std::optional<std::string> v = args.value({"-p", "--port"}))
        options.port = static_cast<int>(parseInteger(*v, "the port", 0, 65535));
    if (std::optional<std::string> v = args.value({"--bind"})) {
        if (v->empty()) throw UsageError("--bind needs an address");
        options.bind = *v;
    }
    options.selection = takeSelection(args);
    args.finish();
    return serve(options);
}

} // namespace qeltool
