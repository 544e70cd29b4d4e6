#pragma once

// Builds the file of a 64-bit Windows image that is nothing but its imports:
//
//     0x0    DOS header
//     0x80   NT headers, then the sections
//     0x400  the section of the imports: a byte, the descriptors, the names
//
// Whatever a test wants wrong is set before the bytes are asked for.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace support {

class ImageFile {
public:
    struct Section {
        std::uint32_t address;
        std::uint32_t size;
        std::uint32_t fileOffset;
    };

    static constexpr std::uint32_t kSectionAddress = 0x5000;
    static constexpr std::uint32_t kSectionFileOffset = 0x400;
    static constexpr std::uint32_t kTableAddress = kSectionAddress + 8;

    std::uint32_t ntOffset = 0x80;
    std::uint32_t importAddress = kTableAddress;
    std::uint32_t sectionSize = 0x10000;
    std::uint32_t fileOffset = kSectionFileOffset;
    std::vector<std::string> names;
    /// Where descriptors say that the names are; where they really are by default.
    std::vector<std::uint32_t> nameAddresses;
    std::vector<Section> sectionsBefore;
    std::vector<Section> sectionsAfter;

    /// Overwrites bytes of the file.
    void Set16(std::size_t at, std::uint16_t number) { patches.push_back({at, number, 2}); }
    void Set32(std::size_t at, std::uint32_t number) { patches.push_back({at, number, 4}); }

    std::string Bytes() const {
        std::string bytes;
        Put(bytes, 0, 0x5A4D, 2);
        Put(bytes, 60, ntOffset, 4);
        Put(bytes, ntOffset, 0x00004550, 4);
        Put(bytes, ntOffset + 4, 0x8664, 2);
        const std::size_t count = sectionsBefore.size() + 1 + sectionsAfter.size();
        Put(bytes, ntOffset + 6, static_cast<std::uint32_t>(count), 2);
        Put(bytes, ntOffset + 20, 240, 2);
        Put(bytes, ntOffset + 24, 0x020B, 2);
        Put(bytes, ntOffset + 132, 16, 4);
        Put(bytes, ntOffset + 144, importAddress, 4);

        std::vector<Section> sections = sectionsBefore;
        sections.push_back({kSectionAddress, sectionSize, fileOffset});
        sections.insert(sections.end(), sectionsAfter.begin(), sectionsAfter.end());
        std::size_t at = ntOffset + 264;
        for (const Section& section : sections) {
            Put(bytes, at + 8, section.size, 4);
            Put(bytes, at + 12, section.address, 4);
            Put(bytes, at + 20, section.fileOffset, 4);
            at += 40;
        }
        bytes.resize(kSectionFileOffset);
        PutTable(bytes);
        for (const Patch& patch : patches) {
            Put(bytes, patch.at, patch.number, patch.size);
        }
        return bytes;
    }

private:
    struct Patch {
        std::size_t at;
        std::uint32_t number;
        int size;
    };

    static void Put(std::string& bytes, std::size_t at, std::uint32_t number, int size) {
        const auto count = static_cast<std::size_t>(size);
        if (bytes.size() < at + count) {
            bytes.resize(at + count);
        }
        for (std::size_t i = 0; i < count; ++i) {
            bytes[at + i] = static_cast<char>(number >> (8 * i));
        }
    }

    void PutTable(std::string& bytes) const {
        constexpr std::size_t kTable = kSectionFileOffset + kTableAddress - kSectionAddress;
        std::size_t descriptor = kTable;
        std::size_t text = kTable + 20 * (names.size() + 1);
        bytes.resize(text);
        for (std::size_t i = 0; i < names.size(); ++i) {
            const std::uint32_t address =
                i < nameAddresses.size()
                    ? nameAddresses[i]
                    : static_cast<std::uint32_t>(text - kSectionFileOffset) + kSectionAddress;
            Put(bytes, descriptor, 0x11111111, 4);
            Put(bytes, descriptor + 12, address, 4);
            descriptor += 20;
            bytes += names[i] + '\0';
            text = bytes.size();
        }
    }

    std::vector<Patch> patches;
};

}  // namespace support
