#pragma once

// The names of the libraries that a 64-bit Windows image imports, read from its
// file. Bytes in, findings out: nothing here opens a file, loads a library or logs.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace core {

/// A file's bytes.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    /// Fills `data` with the `size` bytes from `offset` on and answers how many
    /// there are; fewer than `size` at the end and at a fault.
    virtual std::size_t ReadAt(std::uint64_t offset, void* data, std::size_t size) = 0;

protected:
    ByteSource() = default;
    ByteSource(const ByteSource&) = default;
    ByteSource& operator=(const ByteSource&) = default;
};

/// Why the imports of an image can't be found.
enum class ImageFault : std::uint8_t {
    None,
    DosSignature,
    NtSignature,
    NoSections,
    OutOfMemory,
    NoImportDirectory,
    ImportsOutsideSections,
};

struct ImageImports {
    ImageFault fault = ImageFault::None;
    /// In the order of the import table; without the names behind the limit.
    std::vector<std::string> libraries;
    bool isCutOff = false;
};

/// Real images import some hundred libraries at most; a file made to keep us busy
/// has as many as it is long.
inline constexpr std::size_t kMostImports = 4096;

/// The imports of the image in `source`. Bytes that the source lacks count as zeros.
ImageImports ReadImports(ByteSource& source) noexcept;

}  // namespace core
