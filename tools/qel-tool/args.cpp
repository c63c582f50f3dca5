#include "args.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "failure.h"

namespace qeltool {

namespace {

bool looksNumeric(const std::string& word) {
    return word.size() > 1 && word[0] == '-' &&
           (std::isdigit(static_cast<unsigned char>(word[1])) || word[1] == '.');
}

bool isOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && !looksNumeric(word);
}

} // namespace

Args::Args(std::vector<std::string> words) {
    bool rest = false;
    for (std::string& word : words) {
        if (!rest && word == "--")
            rest = true;
        else
            (rest ? rest_ : words_).push_back(std::move(word));
    }
}

bool Args::flag(std::initializer_list<const char*> names) {
    bool found = false;
    for (size_t i = 0; i < words_.size();) {
        bool match = false;
        for (const char* name : names) match = match || words_[i] == name;
        if (match) {
            words_.erase(words_.begin() + static_cast<long>(i));
            found = true;
        } else {
            ++i;
        }
    }
    return found;
}

std::optional<std::string> Args::value(std::initializer_list<const char*> names) {
    std::optional<std::string> result;
    for (size_t i = 0; i < words_.size();) {
        const std::string& word = words_[i];
        size_t taken = 0;
        for (const char* name : names) {
            size_t length = std::strlen(name);
            if (word == name) {
                if (i + 1 >= words_.size()) throw UsageError(std::string(name) + " needs a value");
                result = words_[i + 1];
                taken = 2;
                break;
            }
            if (length > 2 && word.size() > length && word.compare(0, length, name) == 0 &&
                word[length] == '=') {
                result = word.substr(length + 1);
                taken = 1;
                break;
            }
        }
        if (taken)
            words_.erase(words_.begin() + static_cast<long>(i),
                         words_.begin() + static_cast<long>(i + taken));
        else
            ++i;
    }
    return result;
}

std::optional<std::string> Args::next() {
    for (size_t i = 0; i < words_.size(); ++i) {
        if (isOption(words_[i])) continue;
        std::string word = words_[i];
        words_.erase(words_.begin() + static_cast<long>(i));
        return word;
    }
    if (rest_.empty()) return std::nullopt;
    std::string word = rest_.front();
    rest_.erase(rest_.begin());
    return word;
}

std::string Args::next(const char* what) {
    std::optional<std::string> word = next();
    if (!word) throw UsageError(std::string("missing ") + what);
    return *word;
}

void Args::finish() const {
    for (const std::string& word : words_) {
        if (isOption(word)) throw UsageError("unknown option " + word);
        throw UsageError("unexpected argument " + word);
    }
    if (!rest_.empty()) throw UsageError("unexpected argument " + rest_.front());
}

long long parseInteger(const std::string& text, const std::string& what, long long min,
                       long long max) {
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    long long value = std::strtoll(begin, &end, 0);
    if (text.empty() || *end != '\0' || errno == ERANGE || std::isspace(*begin))
        throw UsageError(what + " must be a whole number, not '" + text + "'");
    if (value < min || value > max)
        throw UsageError(what + " must lie between " + std::to_string(min) + " and " +
                         std::to_string(max) + ", not " + text);
    return value;
}

double parseNumber(const std::string& text, const std::string& what, double min, double max) {
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    double value = std::strtod(begin, &end);
    if (text.empty() || *end != '\0' || errno == ERANGE || !std::isfinite(value) ||
        std::isspace(*begin))
        throw UsageError(what + " must be a number, not '" + text + "'");
    if (value < min || value > max) {
        char range[96];
        std::snprintf(range, sizeof range, " must lie between %g and %g, not ", min, max);
        throw UsageError(what + range + text);
    }
    return value;
}

std::array<double, 3> parseTriple(const std::string& text, const std::string& what) {
    std::array<double, 3> values{};
    size_t start = 0;
    for (int k = 0; k < 3; ++k) {
        size_t comma = text.find(',', start);
        bool last = k == 2;
        if (last != (comma == std::string::npos))
            throw UsageError(what + " takes three numbers separated by commas, not '" + text + "'");
        std::string part = text.substr(start, last ? std::string::npos : comma - start);
        values[static_cast<size_t>(k)] = parseNumber(part, what, -1e9, 1e9);
        start = comma + 1;
    }
    return values;
}

} // namespace qeltool
