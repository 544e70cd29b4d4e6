// The guide: its links lead somewhere, and its code is that of files which are built.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;

const fs::path kRoot = fs::path(CORE_SOURCE_DIR).lexically_normal();

std::string Read(const fs::path& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

Lines LinesOf(const std::string& text) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// A block between ``` fences, and the file that the comment above it names.
struct Block {
    std::string language;
    std::string source;
    bool isRebroken;
    Lines lines;
};

/// A page taken apart: what is between fences, and the rest.
struct Page {
    fs::path file;
    Lines prose;
    std::vector<Block> blocks;

    std::string Name() const { return file.lexically_relative(kRoot).generic_string(); }
};

Page PageOf(const fs::path& file) {
    static const std::regex kSource("<!-- from ([^\\s,]+)(, lines broken)? -->");
    Page page{file, {}, {}};
    bool isInside = false;
    bool isRebroken = false;
    std::string source;
    for (const std::string& line : LinesOf(Read(file))) {
        std::smatch match;
        if (line.rfind("```", 0) == 0) {
            isInside = !isInside;
            if (isInside) {
                page.blocks.push_back({line.substr(3), source, isRebroken, {}});
            }
            source.clear();
        } else if (isInside) {
            page.blocks.back().lines.push_back(line);
        } else {
            if (std::regex_match(line, match, kSource)) {
                source = match[1];
                isRebroken = match[2].matched;
            }
            page.prose.push_back(line);
        }
    }
    EXPECT_FALSE(isInside) << page.Name() << ": a fence that is not closed";
    return page;
}

/// Every page of the repository.
const std::vector<Page>& Pages() {
    static const std::vector<Page> kPages = [] {
        std::vector<Page> pages;
        auto entry = fs::recursive_directory_iterator(kRoot);
        for (; entry != fs::recursive_directory_iterator(); ++entry) {
            const std::string name = entry->path().filename().string();
            if (entry->is_directory() && (name == "build" || name[0] == '.')) {
                entry.disable_recursion_pending();
            } else if (entry->path().extension() == ".md") {
                pages.push_back(PageOf(entry->path()));
            }
        }
        return pages;
    }();
    return kPages;
}

/// What `[...](...)` leads to, pictures too, without what `...` holds.
std::vector<std::string> LinksOf(const Page& page) {
    static const std::regex kCode("`[^`]*`");
    static const std::regex kLink("\\]\\(([^)\\s]+)\\)");
    std::string prose;
    for (const std::string& line : page.prose) {
        prose += std::regex_replace(line, kCode, "code") + '\n';
    }
    std::vector<std::string> links;
    for (std::sregex_iterator it(prose.begin(), prose.end(), kLink), end; it != end; ++it) {
        links.push_back((*it)[1]);
    }
    return links;
}

/// The names under which links know the headings of a page.
std::set<std::string> AnchorsOf(const fs::path& file) {
    std::set<std::string> anchors;
    for (const std::string& line : PageOf(file).prose) {
        if (line.rfind('#', 0) != 0) {
            continue;
        }
        std::string anchor;
        for (const char c : line.substr(line.find(' ') + 1)) {
            const auto byte = static_cast<unsigned char>(c);
            if (std::isalnum(byte) != 0 || c == '-' || c == '_') {
                anchor += static_cast<char>(std::tolower(byte));
            } else if (c == ' ') {
                anchor += '-';
            }
        }
        anchors.insert(anchor);
    }
    return anchors;
}

bool IsRelative(const std::string& link) {
    return link.find("://") == std::string::npos && link.rfind("mailto:", 0) != 0;
}

/// Whether the lines stand in the file one after the other, all indented alike.
bool IsExcerpt(const Lines& lines, const Lines& file) {
    const auto isAt = [&](std::size_t start) {
        const std::string& first = file[start];
        if (first.size() < lines[0].size()) {
            return false;
        }
        const std::string indent = first.substr(0, first.size() - lines[0].size());
        if (indent.find_first_not_of(' ') != std::string::npos) {
            return false;
        }
        return std::equal(lines.begin(), lines.end(),
                          file.begin() + static_cast<std::ptrdiff_t>(start),
                          [&](const std::string& quoted, const std::string& line) {
                              return quoted.empty() ? line.empty() : line == indent + quoted;
                          });
    };
    for (std::size_t start = 0; start + lines.size() <= file.size(); ++start) {
        if (isAt(start)) {
            return true;
        }
    }
    return false;
}

std::string WithoutBlanks(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) {
        std::copy_if(line.begin(), line.end(), std::back_inserter(text),
                     [](unsigned char c) { return std::isspace(c) == 0; });
    }
    return text;
}

bool IsQuoted(const Block& block, const Lines& file) {
    if (block.isRebroken) {
        return WithoutBlanks(file).find(WithoutBlanks(block.lines)) != std::string::npos;
    }
    return IsExcerpt(block.lines, file);
}

TEST(Guide, LinksLeadToFilesAndHeadings) {
    int links = 0;
    for (const Page& page : Pages()) {
        for (const std::string& link : LinksOf(page)) {
            if (!IsRelative(link)) {
                continue;
            }
            ++links;
            const std::size_t hash = std::min(link.find('#'), link.size());
            const std::string path = link.substr(0, hash);
            const fs::path target = path.empty() ? page.file : page.file.parent_path() / path;
            EXPECT_TRUE(fs::exists(target)) << page.Name() << ": " << link;
            if (hash < link.size() && fs::exists(target)) {
                EXPECT_THAT(AnchorsOf(target), testing::Contains(link.substr(hash + 1)))
                    << page.Name() << ": " << link;
            }
        }
    }
    EXPECT_GT(links, 20);
}

TEST(Guide, ShowsEveryPictureThatItHas) {
    std::set<fs::path> shown;
    for (const Page& page : Pages()) {
        for (const std::string& link : LinksOf(page)) {
            shown.insert((page.file.parent_path() / link).lexically_normal());
        }
    }
    for (const auto& entry : fs::recursive_directory_iterator(kRoot / "docs")) {
        if (entry.path().extension() == ".svg") {
            EXPECT_TRUE(shown.count(entry.path().lexically_normal()) == 1) << entry.path();
            EXPECT_THAT(Read(entry.path()),
                        testing::AllOf(testing::HasSubstr("<svg"), testing::HasSubstr("</svg>")))
                << entry.path();
        }
    }
}

TEST(Guide, QuotesFilesAsTheyAre) {
    for (const Page& page : Pages()) {
        for (const Block& block : page.blocks) {
            if (block.source.empty()) {
                EXPECT_NE(block.language, "cpp") << page.Name() << ": code from no file";
                continue;
            }
            const Lines file = LinesOf(Read(kRoot / block.source));
            EXPECT_TRUE(!block.lines.empty() && IsQuoted(block, file))
                << page.Name() << ": a block that is not in " << block.source;
        }
    }
}

TEST(Guide, HasEveryRecipeAndItsResult) {
    std::set<std::string> quoted;
    for (const Block& block : PageOf(kRoot / "docs/recipes.md").blocks) {
        if (block.lines == LinesOf(Read(kRoot / block.source))) {
            quoted.insert(block.source);
        }
    }
    const std::string built = Read(kRoot / "examples/CMakeLists.txt");
    for (const auto& entry : fs::directory_iterator(kRoot / "examples/recipes")) {
        const std::string name = entry.path().stem().string();
        EXPECT_EQ(quoted.count("examples/recipes/" + name + ".cpp"), 1u) << name;
        EXPECT_THAT(built, testing::HasSubstr("core_example(recipes/" + name)) << name;
    }
}

TEST(Guide, EveryPageCanBeReached) {
    std::set<fs::path> reached;
    std::vector<fs::path> toRead{kRoot / "README.md"};
    while (!toRead.empty()) {
        const fs::path file = toRead.back();
        toRead.pop_back();
        if (file.extension() != ".md" || !fs::exists(file) || !reached.insert(file).second) {
            continue;
        }
        for (const std::string& link : LinksOf(PageOf(file))) {
            const std::string path = link.substr(0, link.find('#'));
            toRead.push_back((file.parent_path() / path).lexically_normal());
        }
    }
    for (const Page& page : Pages()) {
        if (page.Name().rfind("docs/", 0) == 0) {
            EXPECT_EQ(reached.count(page.file), 1u) << page.Name();
        }
    }
}

TEST(Guide, SaysOfEveryClassWhichThreadsMayCallIt) {
    const std::string table = Read(kRoot / "docs/threads.md");
    static const std::regex kClass("\nclass CORE_API (\\w+)");
    int classes = 0;
    for (const auto& entry : fs::recursive_directory_iterator(kRoot / "include/core")) {
        if (!entry.is_regular_file()) {
            continue;
        }
        const std::string header = Read(entry.path());
        for (std::sregex_iterator it(header.begin(), header.end(), kClass), end; it != end; ++it) {
            EXPECT_THAT(table, testing::HasSubstr('`' + (*it)[1].str() + '`'));
            ++classes;
        }
    }
    EXPECT_GT(classes, 30);
}

}  // namespace
