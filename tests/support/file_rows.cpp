#include "support/file_rows.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cstddef>
#include <fstream>
#include <sstream>

namespace support {

std::vector<FileRow> RowsOf(const std::string& file) {
    std::vector<FileRow> rows;
    std::string* text = nullptr;
    bool isFirst = true;  // of the text's lines
    std::ifstream lines(CORE_TEST_FILES "/" + file);
    for (std::string line; std::getline(lines, line);) {
        const std::string rest = line.size() > 4 ? line.substr(4) : "";
        if (line.rfind("=== ", 0) == 0) {
            rows.push_back({rest, {}});
            text = nullptr;
            isFirst = true;
        } else if (line.rfind("--- ", 0) == 0) {
            text = &(rows.back().texts[rest] = "");
            isFirst = true;
        } else if (!rows.empty() && line.rfind("# ", 0) != 0) {
            text = text != nullptr ? text : &rows.back().texts[""];
            for (std::size_t at = 0; (at = line.find("\\x", at)) != std::string::npos; ++at) {
                line.replace(at, 4, 1,
                             static_cast<char>(std::stoi(line.substr(at + 2, 2), nullptr, 16)));
            }
            *text += (isFirst ? "" : "\n") + line;
            isFirst = false;
        }
    }
    EXPECT_FALSE(rows.empty()) << file;
    return rows;
}

std::vector<double> NumbersOf(const std::string& text) {
    std::vector<double> numbers;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        std::from_chars(word.data(), word.data() + word.size(), numbers.emplace_back());
    }
    return numbers;
}

std::vector<unsigned char> BytesOfHex(const std::string& hex) {
    std::vector<unsigned char> bytes;
    std::istringstream words(hex);
    for (std::string word; words >> word;) {
        bytes.push_back(static_cast<unsigned char>(std::stoi(word, nullptr, 16)));
    }
    return bytes;
}

}  // namespace support
