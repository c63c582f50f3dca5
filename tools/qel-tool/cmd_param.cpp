// SPDX-License-Identifier: MIT
// qel-tool param: device registers and parameters by number or name.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "commands.h"
#include "device.h"
#include "failure.h"
#include "registers.h"

namespace qeltool {

namespace {

const char kParamHelp[] =
    "read, write and commit registers and parameters\n"
    "\n"
    "Reads and writes the device's registers. P is a register name (see 'param names') or a\n"
    "number: numbers 1 to 8 are the library's parameter numbers, which it translates to\n"
    "registers; any other number addresses that register. A 32-bit value occupies two\n"
    "registers, low half first. Named and known registers have their own width; other\n"
    "numbers are read and written as 32-bit values unless --short is given.\n"
    "A write changes the device's working registers only; 'param commit' stores them all in\n"
    "its permanent memory.\n";

// A number typed for a register or a value, checked once the register's width is known.
long long integerIn(const std::string& text, const std::string& what, long long min,
                    long long max) {
    std::string problem = qelcli::integerProblem(text, min, max);
    if (!problem.empty()) throw UsageError(what + ": " + problem);
    return std::strtoll(text.c_str(), nullptr, 0);
}

struct Target {
    unsigned short number = 0;
    int width = 32;
    bool isSigned = false;
    const Register* known = nullptr;
    std::string label; // "register 135 (type)", "parameter 2"
};

Target resolve(const std::string& word, int widthOverride) {
    Target t;
    if (const Register* r = findRegister(word)) {
        t.number = r->number;
        t.known = r;
    } else {
        t.number = static_cast<unsigned short>(integerIn(word, "the parameter", 0, 65535));
        if (t.number > 8) t.known = registerAt(t.number);
    }
    if (t.known) {
        t.width = t.known->width;
        t.isSigned = t.known->isSigned;
        t.label = "register " + std::to_string(t.number) + " (" + t.known->name + ")";
    } else {
        t.label = (t.number >= 1 && t.number <= 8 ? "parameter " : "register ") +
                  std::to_string(t.number);
    }
    if (widthOverride) {
        t.width = widthOverride;
        t.isSigned = widthOverride == 16;
    }
    return t;
}

std::string describe(const Target& t, unsigned int value) {
    char text[64];
    if (t.width == 16) {
        long long shown = t.isSigned ? static_cast<short>(value) : static_cast<long long>(value);
        std::snprintf(text, sizeof text, "%lld (0x%04X)", shown, value & 0xFFFF);
    } else {
        std::snprintf(text, sizeof text, "%u (0x%08X)", value, value);
    }
    return text;
}

struct Options {
    std::vector<std::string> parameters; // get's P...
    std::string parameter, value;        // set's P VALUE
    bool wide = false, narrow = false;   // --int, --short
    bool bare = false;
    Selection selection;
    int width() const { return wide ? 32 : narrow ? 16 : 0; }
};

int get(const Options& o) {
    std::vector<Target> targets;
    for (const std::string& word : o.parameters) targets.push_back(resolve(word, o.width()));
    Device device(o.selection);
    for (const Target& t : targets) {
        unsigned int value = t.width == 32
                                 ? device.readInt(t.number)
                                 : static_cast<unsigned short>(device.readShort(t.number));
        if (o.bare) {
            if (t.width == 16 && t.isSigned)
                std::printf("%d\n", static_cast<short>(value));
            else
                std::printf("%u\n", value);
        } else {
            std::printf("%s: %s\n", t.label.c_str(), describe(t, value).c_str());
        }
    }
    return kOk;
}

int set(const Options& o) {
    Target t = resolve(o.parameter, o.width());
    const std::string& text = o.value;
    long long value = t.width == 32
                          ? integerIn(text, "the 32-bit value", -2147483648LL, 4294967295LL)
                          : integerIn(text, "the 16-bit value", -32768, 65535);
    Device device(o.selection);
    unsigned int stored = static_cast<unsigned int>(value);
    if (t.width == 32) {
        device.writeInt(t.number, stored);
    } else {
        stored &= 0xFFFF;
        device.writeShort(t.number, static_cast<short>(stored));
    }
    std::printf("%s set to %s on %s; 'qel-tool param commit' stores it permanently\n",
                t.label.c_str(), describe(t, stored).c_str(), device.name().c_str());
    return kOk;
}

int commit(const Options& o) {
    Device device(o.selection);
    device.commit();
    std::printf("%s: registers stored permanently\n", device.name().c_str());
    return kOk;
}

int names() {
    std::printf("%-16s %-9s %-6s %s\n", "NAME", "REGISTER", "BITS", "MEANING");
    for (const Register& r : knownRegisters()) {
        std::string numbers = std::to_string(r.number);
        if (r.width == 32) numbers += "-" + std::to_string(r.number + 1);
        std::string meaning = r.description + (r.unit.empty() ? "" : " (" + r.unit + ")");
        std::printf("%-16s %-9s %-6d %s\n", r.name.c_str(), numbers.c_str(), r.width,
                    meaning.c_str());
    }
    return kOk;
}

// --int and --short, for get and set.
void addWidth(CLI::App& command, Options& o) {
    CLI::Option* wide = command.add_flag("--int", o.wide, "32-bit access");
    command.add_flag("--short", o.narrow, "16-bit access (signed)")->excludes(wide);
}

} // namespace

Command addParam(CLI::App& tool) {
    CLI::App* command = addSubcommand(tool, "param", kParamHelp);
    auto o = std::make_shared<Options>();
    addSelection(*command, o->selection);
    CLI::App* getCommand = addSubcommand(*command, "get", "read parameters");
    getCommand->add_option("P", o->parameters, "register names or numbers")->required();
    addWidth(*getCommand, *o);
    getCommand->add_flag("--bare", o->bare, "print the values only, one a line");
    CLI::App* setCommand = addSubcommand(*command, "set", "write a parameter");
    setCommand->add_option("P", o->parameter, "a register name or number")->required();
    setCommand->add_option("VALUE", o->value, "its new value")->required();
    addWidth(*setCommand, *o);
    CLI::App* commitCommand =
        addSubcommand(*command, "commit", "store the working registers permanently");
    CLI::App* namesCommand = addSubcommand(*command, "names", "the registers known by name");
    return {command, [=] {
                if (getCommand->parsed()) return get(*o);
                if (setCommand->parsed()) return set(*o);
                if (commitCommand->parsed()) return commit(*o);
                if (namesCommand->parsed()) return names();
                throw UsageError("a command is needed: get, set, commit or names");
            }};
}

} // namespace qeltool
