#pragma once

#include <core/export.h>

#include <exception>

CORE_HIDES_STD_BEGIN
namespace core {

/// Thrown when a `JsonValue` is read as a kind that it does not convert to: as a
/// `JsonKindMismatch`, which says what it is.
class CORE_API JsonBadAccess : public std::exception {
public:
    JsonBadAccess() noexcept;
    JsonBadAccess(const JsonBadAccess&) noexcept;
    JsonBadAccess& operator=(const JsonBadAccess&) noexcept;
    ~JsonBadAccess() override;

    /// "Json bad access".
    const char* what() const noexcept override;
};

}  // namespace core
CORE_HIDES_STD_END
