// The command line of one subcommand: options are taken out by name, in any order, and what
// is left are the positional words. Anything not taken is an error.
#ifndef QELTOOL_ARGS_H
#define QELTOOL_ARGS_H

#include <array>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace qeltool {

class Args {
public:
    explicit Args(std::vector<std::string> words);

    // True when one of the names is present; it is removed.
    bool flag(std::initializer_list<const char*> names);
    // The value of "--name VALUE", "--name=VALUE" or "-n VALUE"; removed with its value.
    std::optional<std::string> value(std::initializer_list<const char*> names);
    // The next positional word; a word that begins with '-' and is not a number is an option.
    std::optional<std::string> next();
    std::string next(const char* what); // throws UsageError when there is none
    // Throws UsageError for anything not taken.
    void finish() const;

private:
    std::vector<std::string> words_; // before "--": options and positional words
    std::vector<std::string> rest_;  // after "--": positional words only
};

// Numbers from the command line; each throws UsageError naming `what` when the text is not a
// number or lies outside [min, max]. Integers may be written in hexadecimal with 0x.
long long parseInteger(const std::string& text, const std::string& what, long long min,
                       long long max);
double parseNumber(const std::string& text, const std::string& what, double min, double max);
// Three numbers separated by commas: "1,0,-2.5".
std::array<double, 3> parseTriple(const std::string& text, const std::string& what);

} // namespace qeltool

#endif
