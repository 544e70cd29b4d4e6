#pragma once

#include <optional>
#include <regex>
#include <string>
#include <string_view>

namespace core {

/// What the names of a module's log files begin with, and how they are found again:
/// PREFIX_TIME.log. Immutable.
class FilePrefix {
public:
    /// `text` is a task id or a module's name, of any characters.
    explicit FilePrefix(std::string_view text);

    /// The prefix as it stands in names: without what no file name can have on one of
    /// the systems.
    const std::string& Text() const noexcept { return text; }
    /// Whether a file of this name is one of the module's: by the prefix as text, or as
    /// a regular expression. Takes time that is linear in the name.
    bool Owns(const std::string& name) const;
    /// What to tell the user about a prefix whose files can't be found; else empty.
    const std::string& Notice() const noexcept { return notice; }

private:
    bool IsText(std::string_view name) const noexcept;

    std::string text;
    std::string notice;
    /// Only where it may find more than the text does.
    std::optional<std::regex> expression;
};

}  // namespace core
