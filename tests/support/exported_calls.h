// SPDX-License-Identifier: MIT
// Every exported function as a table row: its name, the checks it runs before it reaches a
// device, its fixed answer where it has one, and a call with outputs that show whether it wrote
// them. The prologue test and the bad-input test both go through this one table.
#ifndef QELTEST_EXPORTED_CALLS_H
#define QELTEST_EXPORTED_CALLS_H

#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "QEL_OPEN.h"

namespace qeltest {

// What a function checks before it does anything else.
enum Checks {
    NoPrologue,  // addresses no device
    RangeOnly,   // the identifier's range (error 3, node 1)
    Open,        // ... and an object in the slot (error 2, the identifier as node)
    Expert,      // ... and expert mode (error 4, the identifier as node)
    ExpertNode1, // ... with node 1 for the expert-mode error
};

// Every output a function can be handed, filled with a byte pattern no function writes.
struct Outputs {
    double d[64];
    int i[8];
    unsigned int u[8];
    short s[8];
    QELushort us[8];
    QELuchar uc[8];
    char text[8];
    double (*m3())[3] { return reinterpret_cast<double(*)[3]>(d + 16); }
    double (*m6())[6] { return reinterpret_cast<double(*)[6]>(d + 16); }

    static constexpr unsigned char kPattern = 0xA5;
    void fill() { std::memset(static_cast<void*>(this), kPattern, sizeof *this); }
    bool untouched() const {
        const unsigned char* bytes = reinterpret_cast<const unsigned char*>(this);
        for (size_t k = 0; k < sizeof *this; ++k)
            if (bytes[k] != kPattern) return false;
        return true;
    }
};

// A call's result as a number: pointers count as null or not, void as 0.
template <typename Call>
double resultOf(Call call) {
    using R = decltype(call());
    if constexpr (std::is_void_v<R>) {
        call();
        return 0.0;
    } else if constexpr (std::is_pointer_v<R>) {
        return call() ? 1.0 : 0.0;
    } else {
        return static_cast<double>(call());
    }
}

struct Row {
    std::string name;
    Checks checks;
    // The answer on an open, uninitialised device with expert mode on, for the functions that
    // answer without reaching the device; their outputs stay untouched too.
    std::optional<double> fixed;
    std::function<double(Outputs&, char)> call;
};

// One row per exported function.
std::vector<Row> rows();

} // namespace qeltest

#endif
