#include "core/logging/pe_imports.h"

#include <gtest/gtest.h>

#include "support/image_file.h"

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

namespace core {
namespace {

using support::ImageFile;
using Names = std::vector<std::string>;

// Bytes in memory that count what is asked of them.
class TextSource final : public ByteSource {
public:
    explicit TextSource(std::string text) : bytes(std::move(text)) {}

    std::size_t ReadAt(std::uint64_t offset, void* data, std::size_t size) override {
        ++reads;
        largest = std::max(largest, size);
        if (offset >= bytes.size()) {
            return 0;
        }
        return bytes.copy(static_cast<char*>(data), size, offset);
    }

    int reads = 0;
    std::size_t largest = 0;

private:
    std::string bytes;
};

ImageImports Read(const std::string& bytes) {
    TextSource source(bytes);
    ImageImports imports = ReadImports(source);
    EXPECT_LE(source.reads, 8 + 2 * static_cast<int>(kMostImports));
    EXPECT_LE(source.largest, 40U * 65'535U);
    return imports;
}

const Names kNames = {"KERNEL32.dll", "a\u0144.dll", "", "b c.dll"};

TEST(PeImports, AreReadInOrder) {
    ImageFile image;
    image.names = kNames;
    const ImageImports imports = Read(image.Bytes());
    EXPECT_EQ(ImageFault::None, imports.fault);
    EXPECT_EQ(kNames, imports.libraries);
    EXPECT_FALSE(imports.isCutOff);
}

TEST(PeImports, FaultsAreToldApart) {
    struct Row {
        const char* name;
        ImageFault expected;
        std::function<void(ImageFile&)> change;
    };
    const Row rows[] = {
        {"no fault", ImageFault::None, [](ImageFile&) {}},
        {"DOS signature", ImageFault::DosSignature, [](ImageFile& i) { i.Set16(0, 0x5A4C); }},
        {"NT signature", ImageFault::NtSignature,
         [](ImageFile& i) { i.Set32(i.ntOffset, 0x00014550); }},
        {"a 32-bit image", ImageFault::NtSignature,
         [](ImageFile& i) { i.Set16(i.ntOffset + 24, 0x010B); }},
        {"headers behind the end", ImageFault::NtSignature,
         [](ImageFile& i) { i.Set32(60, 0xFFFFFFFF); }},
        {"no sections", ImageFault::NoSections, [](ImageFile& i) { i.Set16(i.ntOffset + 6, 0); }},
        {"no import directory", ImageFault::NoImportDirectory,
         [](ImageFile& i) { i.importAddress = 0; }},
        // The first byte of a section is outside, the second one inside.
        {"at the start of the section", ImageFault::ImportsOutsideSections,
         [](ImageFile& i) { i.importAddress = ImageFile::kSectionAddress; }},
        {"behind the start", ImageFault::None,
         [](ImageFile& i) { i.importAddress = ImageFile::kSectionAddress + 1; }},
        {"at the last byte", ImageFault::None,
         [](ImageFile& i) { i.importAddress = ImageFile::kSectionAddress + i.sectionSize - 1; }},
        {"at the end", ImageFault::ImportsOutsideSections,
         [](ImageFile& i) { i.importAddress = ImageFile::kSectionAddress + i.sectionSize; }},
        {"before the section", ImageFault::ImportsOutsideSections,
         [](ImageFile& i) { i.importAddress = 1; }},
        // Its end is at 0, after 32 bits.
        {"section up to 2^32", ImageFault::ImportsOutsideSections,
         [](ImageFile& i) { i.sectionSize = 0U - ImageFile::kSectionAddress; }},
        {"more sections than the file has", ImageFault::None,
         [](ImageFile& i) { i.Set16(i.ntOffset + 6, 0xFFFF); }},
        // Headers are taken to have their usual size.
        {"optional header of another size", ImageFault::None,
         [](ImageFile& i) { i.Set16(i.ntOffset + 20, 1000); }},
        {"fewer directories stated", ImageFault::None,
         [](ImageFile& i) { i.Set32(i.ntOffset + 132, 0); }},
        {"file offset behind the end", ImageFault::None,
         [](ImageFile& i) { i.fileOffset = 0xFFFFFFFF; }},
    };
    for (const Row& row : rows) {
        ImageFile image;
        image.names = kNames;
        row.change(image);
        EXPECT_EQ(row.expected, Read(image.Bytes()).fault) << row.name;
    }
    EXPECT_EQ(ImageFault::DosSignature, Read("").fault);
}

TEST(PeImports, AFileCutAnywhereGivesTheNamesItStillHas) {
    ImageFile image;
    image.names = kNames;
    const std::string bytes = image.Bytes();
    std::size_t most = 0;
    for (std::size_t length = 0; length <= bytes.size(); ++length) {
        const ImageImports imports = Read(bytes.substr(0, length));
        // The table may be cut, and names may be cut; none is made up.
        ASSERT_LE(imports.libraries.size(), kNames.size());
        for (std::size_t i = 0; i < imports.libraries.size(); ++i) {
            EXPECT_EQ(0U, kNames[i].rfind(imports.libraries[i], 0)) << length;
        }
        EXPECT_GE(imports.libraries.size(), most) << length;
        most = imports.libraries.size();
    }
    EXPECT_EQ(kNames.size(), most);
}

TEST(PeImports, NamesAreCutAndPlacedWithinTheFile) {
    struct Row {
        const char* name;
        std::string text;
        std::string expected;
    };
    const Row rows[] = {
        {"fits with its end", std::string(259, 'x'), std::string(259, 'x')},
        {"fits without", std::string(260, 'x'), std::string(260, 'x')},
        {"too long", std::string(261, 'x'), std::string(260, 'x')},
    };
    for (const Row& row : rows) {
        ImageFile image;
        image.names = {row.text};
        EXPECT_EQ(Names{row.expected}, Read(image.Bytes()).libraries) << row.name;
    }
    // A name in front of the section lies in front of it in the file too; one that
    // would lie in front of the file is empty.
    ImageFile image;
    image.names = {"x", "y"};
    image.Set32(0x40, 0x454E4F);  // "ONE"
    image.nameAddresses = {ImageFile::kSectionAddress - (image.fileOffset - 0x40), 1};
    EXPECT_EQ((Names{"ONE", ""}), Read(image.Bytes()).libraries);
}

TEST(PeImports, TheFirstSectionThatHoldsTheTableCounts) {
    ImageFile image;
    image.names = {"right.dll"};
    // The same addresses at another place of the file, before and after.
    image.sectionsAfter = {{ImageFile::kSectionAddress, 0x10000, 0}};
    EXPECT_EQ(Names{"right.dll"}, Read(image.Bytes()).libraries);
    // Starts exactly at the table, and so does not hold it.
    image.sectionsBefore = {{image.importAddress, 0x10000, 0}};
    EXPECT_EQ(Names{"right.dll"}, Read(image.Bytes()).libraries);
    image.sectionsBefore = {{ImageFile::kSectionAddress, 0x10000, 0x7FFF0000}};
    EXPECT_TRUE(Read(image.Bytes()).libraries.empty());
}

TEST(PeImports, ALongTableIsCutOff) {
    ImageFile image;
    // Exactly as many as are looked at.
    image.names.assign(kMostImports, "n");
    EXPECT_FALSE(Read(image.Bytes()).isCutOff);
    image.names.push_back("one more");
    EXPECT_TRUE(Read(image.Bytes()).isCutOff);
}

class StarvingSource final : public ByteSource {
public:
    StarvingSource(std::string bytes, int readsBefore)
        : source(std::move(bytes)), left(readsBefore) {}

    std::size_t ReadAt(std::uint64_t offset, void* data, std::size_t size) override {
        if (left-- == 0) {
            throw std::bad_alloc();
        }
        return source.ReadAt(offset, data, size);
    }

private:
    TextSource source;
    int left;
};

TEST(PeImports, ALackOfMemoryIsAFault) {
    ImageFile image;
    image.names = kNames;
    for (int reads = 0; reads < 6; ++reads) {
        StarvingSource source(image.Bytes(), reads);
        const ImageImports imports = ReadImports(source);
        EXPECT_EQ(ImageFault::OutOfMemory, imports.fault);
        EXPECT_TRUE(imports.libraries.empty());
    }
}

}  // namespace
}  // namespace core
