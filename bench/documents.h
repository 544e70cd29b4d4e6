#pragma once

// The JSON texts that all libraries are measured on.

#include <string>
#include <vector>

namespace bench {

struct Document {
    /// As it stands in the table.
    std::string name;
    std::string text;
    /// As the last part of a measurement's name.
    std::string Size() const { return name == "small" ? "alone" : std::to_string(text.size()); }
};

/// A parameter of 20,000 keyframes ("keyframes"), one of 795 bytes ("small"), and the
/// files; the usual ones from ../shared/corpora where none are given. Says so and leaves
/// one out that can't be read.
std::vector<Document> Documents(const std::vector<std::string>& files);

/// The text of a parameter with some keyframes.
std::string KeyframeText(int keyframes);

}  // namespace bench
