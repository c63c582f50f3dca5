// qel-tool param: device registers and parameters by number or name.
#include <cstdio>
#include <string>

#include "commands.h"
#include "device.h"
#include "failure.h"
#include "registers.h"

namespace qeltool {

const char kParamHelp[] =
    "usage: qel-tool param get P [P...] [--int | --short] [--bare]\n"
    "       qel-tool param set P VALUE [--int | --short]\n"
    "       qel-tool param commit\n"
    "       qel-tool param names\n"
    "\n"
    "Reads and writes the device's registers. P is a register name (see 'param names') or a\n"
    "number: numbers 1 to 8 are the library's parameter numbers, which it translates to\n"
    "registers; any other number addresses that register. A 32-bit value occupies two\n"
    "registers, low half first. Named and known registers have their own width; other\n"
    "numbers are read and written as 32-bit values unless --short is given.\n"
    "A write changes the device's working registers only; 'param commit' stores them all in\n"
    "its permanent memory.\n"
    "\n"
    "options:\n"
    "      --int            32-bit access\n"
    "      --short          16-bit access (signed)\n"
    "      --bare           print the values only, one a line\n" QELTOOL_SELECTION_HELP;

namespace {

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
        t.number = static_cast<unsigned short>(parseInteger(word, "a parameter", 0, 65535));
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

int takeWidth(Args& args) {
    bool wide = args.flag({"--int"}), narrow = args.flag({"--short"});
    if (wide && narrow) throw UsageError("--int and --short exclude each other");
    return wide ? 32 : narrow ? 16 : 0;
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
    int width = 0;
    bool bare = false;
    Selection selection;
};

int get(Args& args, const Options& o) {
    std::vector<std::string> words;
    while (std::optional<std::string> word = args.next()) words.push_back(*word);
    if (words.empty()) throw UsageError("param get needs at least one parameter");
    args.finish();
    std::vector<Target> targets;
    for (const std::string& word : words) targets.push_back(resolve(word, o.width));
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

int set(Args& args, const Options& o) {
    if (o.bare) throw UsageError("--bare is for param get");
    Target t = resolve(args.next("the parameter"), o.width);
    std::string text = args.next("the value");
    args.finish();
    long long value = t.width == 32
                          ? parseInteger(text, "a 32-bit value", -2147483648LL, 4294967295LL)
                          : parseInteger(text, "a 16-bit value", -32768, 65535);
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

int commit(Args& args, const Options& o) {
    if (o.bare || o.width) throw UsageError("param commit takes no --bare, --int or --short");
    args.finish();
    Device device(o.selection);
    device.commit();
    std::printf("%s: registers stored permanently\n", device.name().c_str());
    return kOk;
}

int names(Args& args) {
    args.finish();
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

} // namespace

int runParam(Args& args) {
    Options o;
    o.width = takeWidth(args);
    o.bare = args.flag({"--bare"});
    o.selection = takeSelection(args);
    std::optional<std::string> action = args.next();
    if (!action) throw UsageError("param needs an action: get, set, commit or names");
    if (*action == "get") return get(args, o);
    if (*action == "set") return set(args, o);
    if (*action == "commit") return commit(args, o);
    if (*action == "names") return names(args);
    throw UsageError("unknown action '" + *action + "': get, set, commit or names");
}

} // namespace qeltool
