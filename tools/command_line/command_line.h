// SPDX-License-Identifier: MIT
// The command-line style shared by the programs: options are declared once with CLI11, which
// checks them and generates --help from the same declarations. Numbers are checked for form and
// range before they are converted, choices are spelled out, and a bad command line ends with one
// line naming the option and the value, and exit status 2.
#ifndef QEL_COMMAND_LINE_H
#define QEL_COMMAND_LINE_H

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace qelcli {

constexpr int kUsageStatus = 2;

// An empty string when `text` is a whole number (decimal, or hexadecimal with 0x) within
// [min, max]; otherwise what is wrong with it.
inline std::string integerProblem(const std::string& text, long long min, long long max) {
    char* end = nullptr;
    errno = 0;
    long long value = std::strtoll(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || errno == ERANGE || std::isspace(text[0]))
        return "'" + text + "' is not a whole number";
    if (value < min || value > max)
        return text + " is not between " + std::to_string(min) + " and " + std::to_string(max);
    return {};
}

// The same for a number; infinities and NaN are refused.
inline std::string numberProblem(const std::string& text, double min, double max) {
    char* end = nullptr;
    errno = 0;
    double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno == ERANGE || !std::isfinite(value) ||
        std::isspace(text[0]))
        return "'" + text + "' is not a number";
    if (value < min || value > max) {
        std::ostringstream range;
        range << text << " is not between " << min << " and " << max;
        return range.str();
    }
    return {};
}

// Validators for options; with a delimiter each element is checked.
inline CLI::Validator integer(long long min, long long max) {
    return CLI::Validator([=](std::string& text) { return integerProblem(text, min, max); }, "",
                          "integer");
}
inline CLI::Validator number(double min, double max) {
    return CLI::Validator([=](std::string& text) { return numberProblem(text, min, max); }, "",
                          "number");
}

// A word out of a fixed set, stored as the enumerator it names:
//   choice(app, "--line", line, {{"pty", Line::Pty}, {"usb-fs", Line::FullSpeed}}, "help");
template <typename T>
CLI::Validator choices(const std::vector<std::pair<std::string, T>>& names) {
    return CLI::Validator(
        [names](std::string& text) -> std::string {
            std::string all;
            for (const auto& name : names) {
                if (name.first == text) {
                    text = std::to_string(static_cast<long long>(name.second));
                    return {};
                }
                all += (all.empty() ? "" : ", ") + name.first;
            }
            return "'" + text + "' is not one of " + all;
        },
        "", "choice");
}
// (`value` may be a vector of them, with a delimiter.)
template <typename T, typename = void>
struct Element {
    using type = T;
};
template <typename T>
struct Element<T, std::void_t<typename T::value_type>> {
    using type = typename T::value_type;
};
template <typename T>
CLI::Option* choice(CLI::App& app, const std::string& name, T& value,
                    const std::vector<std::pair<std::string, typename Element<T>::type>>& names,
                    const std::string& description) {
    return app.add_option(name, value, description)->transform(choices(names));
}

// Help laid out as a manual page's synopsis: usage first, then what the command does, its
// options, its subcommands and the closing text.
class HelpFormatter : public CLI::Formatter {
public:
    // `tail`: words the usage line shows after the options, for what the program reads itself.
    explicit HelpFormatter(std::string tail = "") : tail_(std::move(tail)) {
        label("Usage", "usage");
        label("OPTIONS", "options");
        label("SUBCOMMAND", "COMMAND");
        label("Positionals", "arguments");
        column_width(24);
    }
    std::string make_usage(const CLI::App* app, std::string name) const override {
        std::string usage = CLI::Formatter::make_usage(app, name);
        if (!tail_.empty()) usage.insert(usage.size() - 1, " " + tail_);
        return usage;
    }
    // In a list of subcommands, the first line of each one's description.
    std::string make_subcommand(const CLI::App* sub) const override {
        std::string description = sub->get_description();
        std::ostringstream out;
        CLI::detail::format_help(out, sub->get_name(),
                                 description.substr(0, description.find('\n')), column_width_);
        return out.str();
    }
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override {
        if (mode == CLI::AppFormatMode::Sub) return make_expanded(app);
        std::string description = app->get_description();
        while (!description.empty() && description.back() == '\n') description.pop_back();
        return make_usage(app, name) + (description.empty() ? "" : "\n" + description + "\n") +
               make_positionals(app) + make_groups(app, mode) + make_subcommands(app, mode) + "\n" +
               make_footer(app);
    }
    // An option's value is shown by the name its declaration gives it (option_text), alone.
    std::string make_option_opts(const CLI::Option* option) const override {
        return option->get_option_text().empty() ? "" : " " + option->get_option_text();
    }

private:
    std::string tail_;
};

// Gives `app` the shared style: the help layout, "-h, --help", and options listed under
// "options". Subcommands added afterwards inherit it.
inline void style(CLI::App& app, const std::string& usageTail = "") {
    app.formatter(std::make_shared<HelpFormatter>(usageTail));
    app.option_defaults()->group("options");
    app.set_help_flag("-h,--help", "this text");
}

// The program and subcommand path that was being read, for messages: "qel-tool record".
inline std::string commandPath(const CLI::App& app) {
    std::string path = app.get_name();
    const CLI::App* at = &app;
    for (;;) {
        std::vector<const CLI::App*> chosen =
            at->get_subcommands([](const CLI::App*) { return true; });
        const CLI::App* next = nullptr;
        for (const CLI::App* sub : chosen)
            if (sub->parsed()) next = sub;
        if (!next) return path;
        path += " " + next->get_name();
        at = next;
    }
}

// Ends a parse that threw: the help (to standard output) or the version gives status 0, a
// usage error one line on standard error and status 2.
inline int finish(const CLI::App& app, const CLI::ParseError& e) {
    if (dynamic_cast<const CLI::CallForHelp*>(&e) || dynamic_cast<const CLI::CallForAllHelp*>(&e)) {
        std::fputs(app.help().c_str(), stdout);
        return 0;
    }
    if (dynamic_cast<const CLI::CallForVersion*>(&e)) {
        std::printf("%s\n", e.what());
        return 0;
    }
    std::fprintf(stderr, "%s: %s\n", commandPath(app).c_str(), e.what());
    return kUsageStatus;
}

} // namespace qelcli

#endif
