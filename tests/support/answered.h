#pragma once

#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <system_error>

#include "support/dice.h"

namespace support {

/// What calls answered, to be compared with a record: words, which must be the same, and a sum
/// to which each number adds by a weight of its own. Numbers from `most` on are words alone.
struct Answered {
    double most = std::numeric_limits<double>::infinity();
    std::string words = {};
    double sum = 0.0;
    double size = 0.0;
    Dice weights{1};

    void Add(double x) {
        const bool counts = std::fabs(x) < most;
        words += counts ? '.' : x > 0 ? '+' : x < 0 ? '-' : '?';
        const double weighted = counts ? weights.Between(1, 2) * std::asinh(x) : 0.0;
        sum += weighted;
        size += std::fabs(weighted);
    }
    /// The numbers in a text, and the rest of it.
    void Add(const std::string& text) {
        const char* const end = text.data() + text.size();
        for (const char* at = text.data(); at != end;) {
            double x = 0.0;
            const char first = *at == '-' && at + 1 != end ? at[1] : *at;
            const auto [behind, fault] = std::from_chars(at, end, x);
            if (std::isdigit(static_cast<unsigned char>(first)) != 0 && fault == std::errc()) {
                Add(x);
                at = behind;
            } else {
                words += *at++;
            }
        }
    }
    /// FNV-1a of the words.
    unsigned Digest() const {
        unsigned digest = 2166136261U;
        for (const char each : words) {
            digest = (digest ^ static_cast<unsigned char>(each)) * 16777619U;
        }
        return digest;
    }
};

}  // namespace support
