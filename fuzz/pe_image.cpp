// Any bytes as a Windows image: a second, plain reader finds the same libraries or the
// same fault, and a file made to keep us busy does not.

#include "core/logging/pe_imports.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "fuzz/require.h"

namespace {

using core::ImageFault;
using core::ImageImports;

class MemorySource final : public core::ByteSource {
public:
    explicit MemorySource(std::span<const std::uint8_t> allBytes) : bytes(allBytes) {}

    std::size_t ReadAt(std::uint64_t offset, void* data, std::size_t size) override {
        ++reads;
        if (offset >= bytes.size()) {
            return 0;
        }
        const auto part = bytes.subspan(offset).first(std::min(size, bytes.size() - offset));
        std::memcpy(data, part.data(), part.size());
        return part.size();
    }

    std::size_t reads = 0;

private:
    std::span<const std::uint8_t> bytes;
};

/// Reads byte by byte; what lies outside the file is 0.
class PlainImage {
public:
    explicit PlainImage(std::span<const std::uint8_t> allBytes) : bytes(allBytes) {}

    ImageImports Imports() const {
        ImageImports imports;
        imports.fault = FindTable();
        if (imports.fault != ImageFault::None) {
            return imports;
        }
        for (std::int64_t at = ToFile(table); Number(at + 12, 4) != 0; at += 20) {
            if (imports.libraries.size() == core::kMostImports) {
                imports.isCutOff = true;
                break;
            }
            std::string name;
            const std::int64_t start = ToFile(Number(at + 12, 4));
            while (start >= 0 && name.size() < 260 && Byte(start + Length(name)) != 0) {
                name.push_back(static_cast<char>(Byte(start + Length(name))));
            }
            imports.libraries.push_back(name);
        }
        return imports;
    }

private:
    ImageFault FindTable() const {
        const std::int64_t headers = Number(60, 4);
        const std::int64_t count = Number(headers + 6, 2);
        if (Byte(0) != 'M' || Byte(1) != 'Z') {
            return ImageFault::DosSignature;
        }
        if (Number(headers, 4) != 0x4550 || Number(headers + 24, 2) != 0x20B) {
            return ImageFault::NtSignature;
        }
        table = Number(headers + 144, 4);
        if (count == 0 || table == 0) {
            return count == 0 ? ImageFault::NoSections : ImageFault::NoImportDirectory;
        }
        for (section = headers + 264; section < headers + 264 + 40 * count; section += 40) {
            const std::int64_t start = Number(section + 12, 4);
            const std::int64_t end = (start + Number(section + 8, 4)) % (std::int64_t{1} << 32);
            if (start < table && table < end) {
                return ImageFault::None;
            }
        }
        return ImageFault::ImportsOutsideSections;
    }
    std::int64_t ToFile(std::int64_t address) const {
        return address - Number(section + 12, 4) + Number(section + 20, 4);
    }
    std::int64_t Byte(std::int64_t at) const {
        return at >= 0 && at < std::ssize(bytes) ? bytes[static_cast<std::size_t>(at)] : 0;
    }
    std::int64_t Number(std::int64_t at, int size) const {
        std::int64_t number = 0;
        for (int i = size - 1; i >= 0; --i) {
            number = number * 256 + Byte(at + i);
        }
        return number;
    }
    static std::int64_t Length(const std::string& text) { return std::ssize(text); }

    std::span<const std::uint8_t> bytes;
    mutable std::int64_t table = 0;
    mutable std::int64_t section = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    MemorySource source({data, size});
    const ImageImports imports = core::ReadImports(source);
    const ImageImports expected = PlainImage({data, size}).Imports();
    FUZZ_REQUIRE(imports.fault == expected.fault);
    FUZZ_REQUIRE(imports.libraries == expected.libraries);
    FUZZ_REQUIRE(imports.isCutOff == expected.isCutOff);
    FUZZ_REQUIRE(source.reads <= 8 + 2 * core::kMostImports);
    return 0;
}
