#pragma once

#include <core/export.h>

#include <cstdint>
#include <string>

namespace core {

/// The wall clock as a number and as text. Safe from any thread.
class CORE_API TimeUtil {
public:
    TimeUtil() = delete;

    /// Milliseconds since 1970-01-01 UTC.
    static std::uint64_t nowSinceEpoch() noexcept;

    /// The current local time, as in "2024_01_31_23_59_59" for an empty format.
    ///
    /// The first "%s" of `format` is replaced by the milliseconds, three digits;
    /// the result takes the conversions of `strftime` with the names of the C
    /// locale. A later "%s" gives the seconds since 1970. What is no conversion is
    /// copied as it stands.
    static std::string now(const std::string& format);
};

}  // namespace core
