#pragma once

#include <core/export.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

namespace core {

class UuidString;

/// A 128-bit identifier from the operating system's time-based generator.
///
/// A plain value of 16 bytes, in the order in which the generator writes them; the
/// text lists them in that order, so its first three groups show the generator's
/// little-endian fields byte by byte. One thread at a time.
///
///     const Uuid clip = MakeUuid();
///     Save(clip.GetUidString());
class CORE_API Uuid {
public:
    /// Nil: all bytes zero.
    Uuid() noexcept : bytes{} {}

    /// Fills in a new identifier, unique over threads and processes. False when the
    /// system has none to give; the bytes are then not to be used.
    bool Generate() noexcept;
    /// Whether all bytes are zero.
    bool IsNil() const noexcept;
    /// Sets all bytes to zero.
    void SetNil() noexcept;

    /// Writes 36 characters, as in "00112233-4455-6677-8899-aabbccddeeff", in lower
    /// case, and a terminating zero where `size` has room for it. False, writing
    /// nothing, when `size` is below 36 or `buffer` null.
    bool ToString(char* buffer, std::size_t size) const noexcept;
    /// Replaces the text; false for null.
    bool ToString(std::string* text) const;
    bool ToString(UuidString* text) const noexcept;
    /// The same text as a value.
    std::string GetUidString() const;

    /// Reads the first 36 characters, digits in either case; more are ignored.
    ///
    /// False, changing nothing, for null, for a shorter text and for one without
    /// its four '-'. False also when a digit is none, but then the bytes are
    /// written: what they hold is not to be used.
    bool FromString(const char* text) noexcept;
    bool FromString(const std::string& text) noexcept;
    bool FromString(const UuidString& text) noexcept;

    /// 64-bit FNV-1a over the two halves, exclusive-or. Identifiers that one process draws
    /// within a day have distinct hashes.
    std::uint64_t Hash() const noexcept;

    /// The 16 bytes; valid as long as this object.
    const std::uint8_t* Data() const noexcept { return bytes; }

    /// Whether all bytes are equal.
    friend bool operator==(const Uuid& a, const Uuid& b) noexcept {
        return std::memcmp(a.bytes, b.bytes, sizeof a.bytes) == 0;
    }
    friend bool operator!=(const Uuid& a, const Uuid& b) noexcept { return !(a == b); }

private:
    std::uint8_t bytes[16];
};

/// The text of a `Uuid` in place, without allocation. A plain value.
class CORE_API UuidString {
public:
    /// Empty.
    UuidString() noexcept : characters{} {}

    /// The text of `uuid`.
    void FromUuid(const Uuid& uuid) noexcept;
    /// Answers like `Uuid::FromString`; false for null.
    bool ToUuid(Uuid* uuid) const noexcept;
    /// The text of a new identifier; false, changing nothing, when there is none.
    bool Generate() noexcept;

    /// Zero-terminated; valid as long as this object.
    const char* Text() const noexcept { return characters; }

private:
    char characters[40];
};

/// A new identifier. Where the system has none to give, what it left instead; use
/// `Uuid::Generate` to know.
CORE_API Uuid MakeUuid() noexcept;

}  // namespace core

template <>
struct std::hash<core::Uuid> {
    std::size_t operator()(const core::Uuid& uuid) const noexcept {
        return static_cast<std::size_t>(uuid.Hash());
    }
};
