#pragma once

#include <core/data/json_allocator.h>
#include <core/data/json_array.h>
#include <core/data/json_object.h>
#include <core/data/json_value.h>
#include <core/export.h>

#include <cstddef>
#include <string>

namespace core {

/// A JSON tree together with the pool that all its nodes come from.
///
/// It is also an allocator: other values may be made from it, and must be gone before
/// it is. Destroying a document costs its memory blocks, not its nodes. One thread at
/// a time.
///
///     JsonDoc doc;
///     if (doc.Parse(R"({"speed": 1.5})") < 0) { return; }
///     const double speed = doc.Root().AsObject()["speed"].AsDouble();
///     std::string text;
///     doc.Dump(text);
class CORE_API JsonDoc : public JsonOptimizedAllocator {
public:
    /// An empty root, and blocks of 16384 bytes.
    JsonDoc();
    /// Blocks of `blockSize` bytes, at least 4096.
    explicit JsonDoc(std::size_t blockSize);
    JsonDoc(const JsonDoc&) = delete;
    JsonDoc& operator=(const JsonDoc&) = delete;
    ~JsonDoc() override;

    /// The top of the tree; it lives as long as the document.
    JsonValue& Root() noexcept { return root; }
    const JsonValue& Root() const noexcept { return root; }
    /// Whether the root holds anything; null counts.
    explicit operator bool() const noexcept { return !root.IsEmpty(); }
    /// The document itself.
    JsonAllocator* Allocator() noexcept { return this; }

    /// Makes the root an empty container, as `JsonValue::MakeEmptyObject` does.
    JsonObject& CreateRootObject() { return root.MakeEmptyObject(); }
    JsonArray& CreateRootArray() { return root.MakeEmptyArray(); }

    /// Reads the root from zero-terminated text. Answers how many bytes it takes; what
    /// follows is not looked at. On failure -1, and the root is empty. `ParseJson` says
    /// where and why, and looks at the whole.
    int Parse(const char* text);
    /// The same for a file with a UTF-8 path, of at most 64 MiB; the bytes of a UTF-8
    /// mark at its start count. -1 also when the file can't be read, is larger or has a
    /// UTF-16 mark: then the root stays as it was.
    int ParseFile(const char* path);

    /// Replaces `out` by the root's text and answers its length; -1, leaving `out` as
    /// it is, when the root is empty. The pretty form is for arrays and objects; any
    /// other root is written compactly. What becomes of doubles, and of NaN and the
    /// infinities, is said at `JsonValue::Dump`.
    int Dump(std::string& out) const;
    int PrettyDump(std::string& out) const;
    /// Writes the text to a file, opened in text mode under the path as it is, and emptied
    /// first. -1 when the root is empty, negative on a write error, not negative when
    /// written; 0 also when the file can't be opened. `SaveJson` tells, and loses neither
    /// digits nor the old file.
    int DumpFile(const char* path) const;
    int PrettyDumpFile(const char* path) const;

private:
    JsonValue root;
};

}  // namespace core
