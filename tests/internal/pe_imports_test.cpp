#include "core/logging/pe_imports.h"

#include <gtest/gtest.h>

#include "support/file_rows.h"
#include "support/image_file.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <sstream>
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
        if (readsLeft-- == 0) {
            throw std::bad_alloc();
        }
        largest = std::max(largest, size);
        if (offset >= bytes.size()) {
            return 0;
        }
        return bytes.copy(static_cast<char*>(data), size, offset);
    }

    int reads = 0;
    int readsLeft = -1;
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

TEST(PeImports, AreReadInOrderOrNamedAsFaults) {
    const char* const faults[] = {"",
                                  "DOS signature",
                                  "NT signature",
                                  "no sections",
                                  "out of memory",
                                  "no import directory",
                                  "imports outside sections"};
    for (const support::FileRow& row : support::RowsOf("pe_images.txt")) {
        ImageFile image;
        std::istringstream names(row["names"]);
        for (std::string name; std::getline(names, name, '|');) {
            image.names.push_back(name);
        }
        std::istringstream changes(row[""]);
        changes >> std::hex;
        for (std::string what; changes >> what;) {
            std::uint32_t to[3] = {};
            const bool isSection = what == "before" || what == "after";
            for (int i = 0; i < (isSection ? 3 : what == "16" || what == "32" ? 2 : 1); ++i) {
                changes >> to[i];
            }
            if (isSection) {
                (what == "before" ? image.sectionsBefore
                                  : image.sectionsAfter) = {{to[0], to[1], to[2]}};
            } else if (what == "16") {
                image.Set16(to[0], static_cast<std::uint16_t>(to[1]));
            } else if (what == "32") {
                image.Set32(to[0], to[1]);
            } else if (what == "name") {
                image.nameAddresses.push_back(to[0]);
            } else {
                (what == "imports" ? image.importAddress
                 : what == "size"  ? image.sectionSize
                                   : image.fileOffset) = to[0];
            }
        }
        const ImageImports imports = Read(image.Bytes());
        std::string read;
        for (const std::string& name : imports.libraries) {
            read += name + "|";
        }
        EXPECT_EQ(row["fault"], faults[static_cast<int>(imports.fault)]) << row.name;
        EXPECT_EQ(row["read"], read) << row.name;
        EXPECT_FALSE(imports.isCutOff);
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

TEST(PeImports, ALongTableIsCutOff) {
    ImageFile image;
    // Exactly as many as are looked at.
    image.names.assign(kMostImports, "n");
    EXPECT_FALSE(Read(image.Bytes()).isCutOff);
    image.names.push_back("one more");
    EXPECT_TRUE(Read(image.Bytes()).isCutOff);
}

TEST(PeImports, ALackOfMemoryIsAFault) {
    ImageFile image;
    image.names = kNames;
    for (int reads = 0; reads < 6; ++reads) {
        TextSource source(image.Bytes());
        source.readsLeft = reads;
        const ImageImports imports = ReadImports(source);
        EXPECT_EQ(ImageFault::OutOfMemory, imports.fault);
        EXPECT_TRUE(imports.libraries.empty());
    }
}

}  // namespace
}  // namespace core
