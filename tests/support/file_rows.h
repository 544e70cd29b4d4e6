#pragma once

#include <map>
#include <string>
#include <vector>

namespace support {

/// A row of a table that stands in tests/files:
///
///     # a comment, before the first row or behind the last text of one
///     === name
///     its first text, of one line or more
///     --- heading
///     another text
///
/// "\xHH" is a byte. Texts have no line end but between their lines.
struct FileRow {
    std::string name;
    std::map<std::string, std::string> texts;

    /// Of the first text the heading is ""; what is not there is "".
    std::string operator[](const std::string& heading) const {
        const auto found = texts.find(heading);
        return found != texts.end() ? found->second : "";
    }
};

/// The rows of a file, which has one at least.
std::vector<FileRow> RowsOf(const std::string& file);

/// Numbers between blanks, to the last bit.
std::vector<double> NumbersOf(const std::string& text);

/// "C0 FF" as bytes.
std::vector<unsigned char> BytesOfHex(const std::string& hex);

}  // namespace support
