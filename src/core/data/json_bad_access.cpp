#include <core/data/json_bad_access.h>

namespace core {

JsonBadAccess::JsonBadAccess() noexcept = default;
JsonBadAccess::JsonBadAccess(const JsonBadAccess&) noexcept = default;
JsonBadAccess& JsonBadAccess::operator=(const JsonBadAccess&) noexcept = default;
JsonBadAccess::~JsonBadAccess() = default;

const char* JsonBadAccess::what() const noexcept {
    return "Json bad access";
}

}  // namespace core
