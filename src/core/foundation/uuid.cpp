#include <core/foundation/uuid.h>

#include "core/platform/platform.h"

#include <array>

namespace core {
namespace {

constexpr std::size_t kTextLength = 36;

// Where each byte's two digits stand in the text; '-' fills the gaps.
constexpr std::array<std::size_t, 16> kDigitsAt = {0,  2,  4,  6,  9,  11, 14, 16,
                                                   19, 21, 24, 26, 28, 30, 32, 34};
constexpr std::array<std::size_t, 4> kDashesAt = {8, 13, 18, 23};

constexpr int kNoDigit = -1;

int DigitValue(char digit) noexcept {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return kNoDigit;
}

// Whatever the system answers goes into the bytes, a failure too.
platform::IdentifierStatus Fill(std::uint8_t* bytes) noexcept {
    std::array<std::uint8_t, 16> generated{};
    const platform::IdentifierStatus status = platform::GenerateSequentialIdentifier(generated);
    std::memcpy(bytes, generated.data(), generated.size());
    return status;
}

}  // namespace

bool Uuid::Generate() noexcept {
    return Fill(bytes) != platform::IdentifierStatus::Failed;
}

bool Uuid::IsNil() const noexcept {
    return *this == Uuid();
}

void Uuid::SetNil() noexcept {
    *this = Uuid();
}

bool Uuid::ToString(char* buffer, std::size_t size) const noexcept {
    constexpr char kDigits[] = "0123456789abcdef";
    if (buffer == nullptr || size < kTextLength) {
        return false;
    }
    for (std::size_t i = 0; i < sizeof bytes; ++i) {
        buffer[kDigitsAt[i]] = kDigits[bytes[i] >> 4];
        buffer[kDigitsAt[i] + 1] = kDigits[bytes[i] & 15];
    }
    for (const std::size_t at : kDashesAt) {
        buffer[at] = '-';
    }
    if (size > kTextLength) {
        buffer[kTextLength] = '\0';
    }
    return true;
}

bool Uuid::ToString(std::string* text) const {
    if (text == nullptr) {
        return false;
    }
    *text = GetUidString();
    return true;
}

bool Uuid::ToString(UuidString* text) const noexcept {
    if (text == nullptr) {
        return false;
    }
    text->FromUuid(*this);
    return true;
}

std::string Uuid::GetUidString() const {
    std::string text(kTextLength, '\0');
    ToString(text.data(), text.size());
    return text;
}

bool Uuid::FromString(const char* text) noexcept {
    // Not strlen: the text behind the 36 characters may be long.
    if (text == nullptr || std::memchr(text, '\0', kTextLength) != nullptr) {
        return false;
    }
    for (const std::size_t at : kDashesAt) {
        if (text[at] != '-') {
            return false;
        }
    }
    bool isValid = true;
    for (std::size_t i = 0; i < sizeof bytes; ++i) {
        const int high = DigitValue(text[kDigitsAt[i]]);
        const int low = DigitValue(text[kDigitsAt[i] + 1]);
        isValid = isValid && high != kNoDigit && low != kNoDigit;
        bytes[i] = static_cast<std::uint8_t>((high & 15) << 4 | (low & 15));
    }
    return isValid;
}

bool Uuid::FromString(const std::string& text) noexcept {
    return FromString(text.c_str());
}

bool Uuid::FromString(const UuidString& text) noexcept {
    return FromString(text.Text());
}

std::uint64_t Uuid::Hash() const noexcept {
    // FNV-1a, 64 bits. Byte by byte, the exclusive-or of the little-endian halves
    // is that of their bytes.
    std::uint64_t hash = 0xcbf29ce484222325;
    for (std::size_t i = 0; i < 8; ++i) {
        hash = (hash ^ static_cast<std::uint8_t>(bytes[i] ^ bytes[i + 8])) * 0x100000001b3;
    }
    return hash;
}

void UuidString::FromUuid(const Uuid& uuid) noexcept {
    uuid.ToString(characters, sizeof characters);
}

bool UuidString::ToUuid(Uuid* uuid) const noexcept {
    return uuid != nullptr && uuid->FromString(*this);
}

bool UuidString::Generate() noexcept {
    Uuid uuid;
    if (!uuid.Generate()) {
        return false;
    }
    FromUuid(uuid);
    return true;
}

Uuid MakeUuid() noexcept {
    Uuid uuid;
    uuid.Generate();
    return uuid;
}

}  // namespace core
