// SPDX-License-Identifier: MIT
// qel-tool plot: a recorded trace drawn by gnuplot into a PNG file.
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "commands.h"
#include "failure.h"
#include "plot_script.h"
#include "trace.h"

namespace qeltool {

namespace {

const char kPlotHelp[] =
    "draw a recorded trace as a PNG picture (with gnuplot)\n"
    "\n"
    "Draws a trace written by 'qel-tool record' on one PNG page: the position and the\n"
    "commanded force against time, and the handle's path in the x-y and the y-z planes.\n"
    "Needs gnuplot (Debian package gnuplot-nox).\n";

struct Options {
    std::string trace;
    std::optional<std::string> output, title;
    std::array<int, 2> size{1200, 900};
};

std::string defaultOutput(const std::string& trace) {
    const std::string csv = ".csv";
    if (trace.size() > csv.size() && trace.compare(trace.size() - csv.size(), csv.size(), csv) == 0)
        return trace.substr(0, trace.size() - csv.size()) + ".png";
    return trace + ".png";
}

int column(const Trace& trace, const char* name, const std::string& file) {
    int index = trace.column(name);
    if (index < 0)
        throw Failure(kFailed,
                      file + " has no column " + name + ": is it a trace of 'qel-tool record'?");
    return index + 1;
}

// What gnuplot says about a trace that stands still (the empty ranges it widens) is no news.
std::string news(const std::string& messages) {
    std::string kept;
    size_t start = 0;
    while (start < messages.size()) {
        size_t end = messages.find('\n', start);
        if (end == std::string::npos) end = messages.size();
        std::string line = messages.substr(start, end - start);
        if (!line.empty() && line.rfind("Warning: empty", 0) != 0) kept += line + "\n";
        start = end + 1;
    }
    return kept;
}

// Runs gnuplot on the script and returns what it wrote to its standard error.
std::string runGnuplot(const std::string& script) {
    const char* tmp = std::getenv("TMPDIR");
    bool usable = tmp && *tmp && !std::strchr(tmp, '\'');
    std::string path = std::string(usable ? tmp : "/tmp") + "/qel-tool-gnuplot.XXXXXX";
    int fd = mkstemp(&path[0]);
    if (fd < 0) throw Failure(kFailed, "cannot create " + path + ": " + std::strerror(errno));
    close(fd);
    // A gnuplot that is missing or dies early must not take the tool with it.
    std::signal(SIGPIPE, SIG_IGN);
    std::FILE* gnuplot = popen(("gnuplot 2>'" + path + "'").c_str(), "w");
    int status = -1;
    if (gnuplot) {
        std::fwrite(script.data(), 1, script.size(), gnuplot);
        status = pclose(gnuplot);
    }
    std::ifstream in(path);
    std::string messages((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::remove(path.c_str());
    if (status == -1 || !WIFEXITED(status) || WEXITSTATUS(status) == 127)
        throw Failure(kFailed, "cannot run gnuplot: is it installed? (Debian package gnuplot-nox)");
    if (WEXITSTATUS(status) != 0)
        throw Failure(kFailed, "gnuplot failed (exit status " +
                                   std::to_string(WEXITSTATUS(status)) + "):\n" + messages);
    return news(messages);
}

int plot(const Options& o) {
    PlotRequest request;
    request.width = o.size[0];
    request.height = o.size[1];
    request.data = o.trace;
    request.output = o.output.value_or(defaultOutput(request.data));
    request.title = o.title.value_or(request.data);

    std::ifstream in(request.data);
    if (!in) throw Failure(kFailed, "cannot read " + request.data + ": " + std::strerror(errno));
    Trace trace = readTrace(in, request.data);
    if (trace.rows.empty()) throw Failure(kFailed, request.data + " holds no samples");
    request.t = column(trace, "t_s", request.data);
    request.x = column(trace, "x_mm", request.data);
    request.y = column(trace, "y_mm", request.data);
    request.z = column(trace, "z_mm", request.data);
    request.fx = column(trace, "fx_N", request.data);
    request.fy = column(trace, "fy_N", request.data);
    request.fz = column(trace, "fz_N", request.data);

    std::remove(request.output.c_str());
    std::string messages = runGnuplot(gnuplotScript(request));
    struct stat picture {};
    if (stat(request.output.c_str(), &picture) != 0 || picture.st_size == 0)
        throw Failure(kFailed, "gnuplot wrote no picture to " + request.output);
    std::fputs(messages.c_str(), stderr);
    std::printf("plotted %zu samples to %s\n", trace.rows.size(), request.output.c_str());
    return kOk;
}

} // namespace

Command addPlot(CLI::App& tool) {
    CLI::App* command = addSubcommand(tool, "plot", kPlotHelp);
    auto o = std::make_shared<Options>();
    command->add_option("TRACE.csv", o->trace, "a trace written by 'qel-tool record'")->required();
    command
        ->add_option("-o,--output", o->output, "the picture (default: the trace's name with .png)")
        ->option_text("FILE");
    command->add_option("--title", o->title, "the page's title (default: the trace's name)")
        ->option_text("TEXT");
    command->add_option("--size", o->size, "the picture's size in pixels (default 1200,900)")
        ->option_text("W,H")
        ->delimiter(',')
        ->check(qelcli::integer(200, 10000));
    return {command, [o] { return plot(*o); }};
}

} // namespace qeltool
