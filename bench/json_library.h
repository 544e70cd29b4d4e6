#pragma once

// JSON libraries behind one face: ours and those it is compared with. The face costs
// each of them the same few nanoseconds.

#include "documents.h"
#include "suite.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// What a tree holds, however a library keeps it: equal for equal trees, whatever the
/// order of the members.
class Digest {
public:
    void AddNull() { ++counts[0]; }
    void AddBool(bool value) { ++counts[value ? 1 : 2]; }
    void AddNumber(double value);
    void AddText(const char* text, std::size_t size);
    void AddArray(std::size_t size) { AddContainer(4, size); }
    void AddObject(std::size_t size) { AddContainer(5, size); }

    void Compare(const Digest& other, Agreement& agreement) const;
    /// The numbers alone, in the order of the text.
    std::vector<double> numbers;

private:
    void AddContainer(int kind, std::size_t size) {
        ++counts[kind];
        sizes += size;
    }

    std::int64_t counts[6] = {};
    std::uint64_t sizes = 0;
    std::uint64_t numberHash = 0;
    std::uint64_t textHash = 0;
};

/// A parsed document.
class JsonTree {
public:
    virtual ~JsonTree() = default;
    /// Compact text, in a buffer of its own for each call; answers its length.
    virtual std::size_t Write() const = 0;
    virtual std::string Text() const = 0;
    /// A deep copy that lives on its own.
    virtual std::unique_ptr<JsonTree> Copy() const = 0;
    virtual Digest Contents() const = 0;
    /// Destroys the document; after this, only the end of the tree may follow.
    virtual void Destroy() = 0;
};

template <class Document>
class TreeOf : public JsonTree {
public:
    template <class... Arguments>
    explicit TreeOf(Arguments&&... arguments)
        : document(std::in_place, std::forward<Arguments>(arguments)...) {}
    void Destroy() final { document.reset(); }

    std::optional<Document> document;
};

struct JsonLibrary {
    std::string name;
    std::function<std::unique_ptr<JsonTree>(const std::string& text)> parse;
};

JsonLibrary OurJson();
JsonLibrary RapidJson();
JsonLibrary NlohmannJson();
JsonLibrary JsonCpp();
/// Reads only; its trees neither write nor copy.
JsonLibrary SimdJson();

/// For main: `--memory LIBRARY FILE` prints the bytes that a document takes at its peak
/// while it is read, and true; false when the arguments ask for something else.
bool RunMemoryRound(int argc, char** argv);

}  // namespace bench
