// Where things stand in a 64-bit image (PE32+):
//
//     DOS header    at 0, 64 bytes; the offset of the NT headers at byte 60
//     NT headers    signature (4 bytes), file header (20), optional header (240)
//     sections      40 bytes each
//     imports       descriptors of 20 bytes, up to one without a name
//
// Addresses are those of the loaded image, in 32 bits; a section says which range
// of them holds which range of the file. Offsets into the file are counted in 64
// bits, so that no sum of hostile numbers comes round to a small one.

#include "core/logging/pe_imports.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <optional>
#include <span>

namespace core {
namespace {

constexpr std::size_t kDosHeaderSize = 64;
constexpr std::size_t kNtHeadersSize = 4 + 20 + 240;
constexpr std::size_t kSectionSize = 40;
constexpr std::size_t kDescriptorSize = 20;
constexpr std::size_t kNameSize = 260;

constexpr std::uint16_t kDosSignature = 0x5A4D;
constexpr std::uint32_t kNtSignature = 0x00004550;
constexpr std::uint16_t kMagic64 = 0x020B;

// Reads at `offset` into all of `bytes`; what the source lacks becomes zeros.
void ReadBytes(ByteSource& source, std::uint64_t offset, std::span<std::uint8_t> bytes) {
    const std::size_t read = source.ReadAt(offset, bytes.data(), bytes.size());
    if (read < bytes.size()) {
        std::memset(bytes.data() + read, 0, bytes.size() - read);
    }
}

template <std::size_t size>
std::array<std::uint8_t, size> ReadBlock(ByteSource& source, std::uint64_t offset) {
    std::array<std::uint8_t, size> block;
    ReadBytes(source, offset, block);
    return block;
}

std::uint16_t Number16(std::span<const std::uint8_t> bytes, std::size_t at) noexcept {
    return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
}

std::uint32_t Number32(std::span<const std::uint8_t> bytes, std::size_t at) noexcept {
    return Number16(bytes, at) | std::uint32_t{Number16(bytes, at + 2)} << 16;
}

struct Section {
    std::uint32_t size;
    std::uint32_t address;
    std::uint32_t fileOffset;

    // Kept on purpose: reports are compared with those of older versions. An
    // address at the first byte of a section counts as outside, and the end of a
    // section wraps in 32 bits.
    bool Holds(std::uint32_t wanted) const noexcept {
        return address < wanted && wanted < address + size;
    }
    // Negative where the file starts behind it.
    std::int64_t FileOffsetOf(std::uint32_t wanted) const noexcept {
        return std::int64_t{wanted} - address + fileOffset;
    }
};

std::optional<Section> FindSection(std::span<const std::uint8_t> table, std::uint32_t address) {
    for (std::size_t at = 0; at < table.size(); at += kSectionSize) {
        const Section section{Number32(table, at + 8), Number32(table, at + 12),
                              Number32(table, at + 20)};
        if (section.Holds(address)) {
            return section;
        }
    }
    return std::nullopt;
}

// A name that does not end within its bytes is cut there; one that starts before
// the file is empty.
std::string ReadName(ByteSource& source, std::int64_t offset) {
    if (offset < 0) {
        return {};
    }
    const auto bytes = ReadBlock<kNameSize>(source, static_cast<std::uint64_t>(offset));
    std::string name(bytes.begin(), bytes.end());
    name.resize(std::min(name.find('\0'), name.size()));
    return name;
}

// Fills in the names of the import table at `address`, which `section` holds.
void ReadNames(ByteSource& source, const Section& section, std::uint32_t address,
               ImageImports& imports) {
    // The address lies behind the section's first byte, so this is above 0.
    auto offset = static_cast<std::uint64_t>(section.FileOffsetOf(address));
    std::vector<std::uint32_t> names;
    for (;; offset += kDescriptorSize) {
        const auto descriptor = ReadBlock<kDescriptorSize>(source, offset);
        const std::uint32_t name = Number32(descriptor, 12);
        if (name == 0) {
            break;
        }
        if (names.size() == kMostImports) {
            imports.isCutOff = true;
            break;
        }
        names.push_back(name);
    }
    for (const std::uint32_t name : names) {
        // Names are taken to lie in the section of the table.
        imports.libraries.push_back(ReadName(source, section.FileOffsetOf(name)));
    }
}

ImageFault Read(ByteSource& source, ImageImports& imports) {
    const auto dosHeader = ReadBlock<kDosHeaderSize>(source, 0);
    if (Number16(dosHeader, 0) != kDosSignature) {
        return ImageFault::DosSignature;
    }
    const std::uint64_t ntOffset = Number32(dosHeader, 60);
    const auto ntHeaders = ReadBlock<kNtHeadersSize>(source, ntOffset);
    const std::uint16_t sectionCount = Number16(ntHeaders, 6);
    const std::uint32_t importAddress = Number32(ntHeaders, 144);
    // A 32-bit image ends here too: its headers are laid out in another way.
    if (Number32(ntHeaders, 0) != kNtSignature || Number16(ntHeaders, 24) != kMagic64) {
        return ImageFault::NtSignature;
    }
    if (sectionCount == 0) {
        return ImageFault::NoSections;
    }
    // Kept on purpose: reports are compared with those of older versions. The table
    // is read right behind headers of the usual size, whatever size they state.
    std::vector<std::uint8_t> sections(sectionCount * kSectionSize);
    ReadBytes(source, ntOffset + kNtHeadersSize, sections);
    if (importAddress == 0) {
        return ImageFault::NoImportDirectory;
    }
    const std::optional<Section> section = FindSection(sections, importAddress);
    if (!section.has_value()) {
        return ImageFault::ImportsOutsideSections;
    }
    ReadNames(source, *section, importAddress, imports);
    return ImageFault::None;
}

}  // namespace

ImageImports ReadImports(ByteSource& source) noexcept {
    ImageImports imports;
    try {
        imports.fault = Read(source, imports);
    } catch (const std::bad_alloc&) {
        imports.fault = ImageFault::OutOfMemory;
        imports.libraries.clear();
    }
    return imports;
}

}  // namespace core
