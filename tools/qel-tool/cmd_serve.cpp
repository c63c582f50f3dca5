// SPDX-License-Identifier: MIT
// qel-tool serve: reads the command line into ServeOptions.
#include <memory>

#include "commands.h"
#include "failure.h"
#include "serve.h"

namespace qeltool {

namespace {

const char kServeHelp[] =
    "a live diagnostic page of a device in the browser\n"
    "\n"
    "Serves a live diagnostic page of a device: a 3D view of the arm with the force and the\n"
    "reachable workspace, strip charts of position, velocity and force, the loop rate,\n"
    "buttons, drives and errors, the device's identity, registers and calibration limits.\n"
    "It prints the page's address with a random token: only a page opened with the token may\n"
    "switch force output, drives and gravity compensation, apply a test force (at most 2 N,\n"
    "held only while the page is open) or load the calibration; without it the page is\n"
    "read-only. The drives are switched off when the tool ends (Ctrl-C).\n";

} // namespace

Command addServe(CLI::App& tool) {
    CLI::App* command = addSubcommand(tool, "serve", kServeHelp);
    auto options = std::make_shared<ServeOptions>();
    command
        ->add_option("-p,--port", options->port, "the TCP port, 0 for any free one (default 8480)")
        ->option_text("P")
        ->check(qelcli::integer(0, 65535));
    command
        ->add_option("--bind", options->bind,
                     "the address to listen on (default 127.0.0.1, this machine only)")
        ->option_text("ADDRESS")
        ->check([](const std::string& v) { return v.empty() ? "an address is needed" : ""; });
    addSelection(*command, options->selection);
    return {command, [options] { return serve(*options); }};
}

} // namespace qeltool
