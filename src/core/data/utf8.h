#pragma once

namespace core::detail {

/// The first byte from `from` on that begins no character of UTF-8 (RFC 3629) within the
/// bytes before `end`; `end` when there is none. The bytes before `limit`, which lies at
/// `end` or behind it, may be read too.
const char* ValidUtf8End(const char* from, const char* end, const char* limit) noexcept;

}  // namespace core::detail
