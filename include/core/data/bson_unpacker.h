#pragma once

#include <core/data/bson_box.h>
#include <core/data/bson_item.h>
#include <core/data/bson_sizes.h>
#include <core/export.h>

#include <cstddef>

namespace core {

/// Reads packed data item by item, as `BsonPacker` wrote it or from anywhere else.
///
///     BsonUnpacker unpacker(box);
///     BsonMapSize pairs;
///     unpacker >> pairs;
///     for (int i = 0; i < pairs && !unpacker.Failed(); ++i) {
///         BsonItem key, value;
///         unpacker >> key >> value;
///     }
///
/// The byte forms have the kinds that `BsonPacker` gives them, crossed: the negative
/// numbers of one byte that other writers of MessagePack make come back as unsigned ones,
/// -7 (F9) as 249, and so do the numbers behind D0, -100 as 156. `MessagePackToJson` reads
/// them as they are meant.
///
/// Any bytes are safe to read, and no length in them makes it allocate more than they
/// hold. An item that is cut short, has no kind here or isn't what was asked for sets
/// the failed flag; from then on nothing is decoded until `Open`. The bytes are not
/// copied: they must stay where they are while the unpacker reads. Throws nothing but
/// `std::bad_alloc` for the copy of a text. One thread at a time.
class CORE_API BsonUnpacker {
public:
    /// Reads nothing: at the end at once.
    BsonUnpacker() noexcept;
    /// Starts at the first of these bytes.
    explicit BsonUnpacker(const BsonBox& box) noexcept;
    BsonUnpacker(const unsigned char* data, std::size_t size) noexcept;
    /// The unpacker would outlive the bytes.
    explicit BsonUnpacker(BsonBox&&) = delete;

    /// Starts anew, at the beginning of other bytes.
    void Open(const BsonBox& box) noexcept;
    void Open(BsonBox&&) = delete;
    void Open(const unsigned char* data, std::size_t size) noexcept;
    /// Goes back to the beginning. What has failed stays failed.
    void Rewind() noexcept { cursor = 0; }

    /// Whether all bytes were read, and no more: an item that was cut short leaves the
    /// cursor beyond the end, and this false.
    bool Eos() const noexcept { return cursor == size; }
    /// Whether a read has failed since `Open`.
    bool Failed() const noexcept { return hasFailed; }

    /// The next item, or null, failed, when there is none. It belongs to the unpacker,
    /// and lasts until the next read.
    BsonItem* GetNextItem();
    /// Decodes the next item into `item`, which is of kind none, failed, when there is
    /// no next one.
    BsonUnpacker& operator>>(BsonItem& item);
    /// Fails unless the next item is nil.
    BsonUnpacker& operator>>(std::nullptr_t);
    /// The header of a map, of an array; when the next item is none, fails and leaves the
    /// argument alone.
    BsonUnpacker& operator>>(BsonMapSize& pairs);
    BsonUnpacker& operator>>(BsonTupleSize& elements);

private:
    void Decode(BsonItem& item);

    const unsigned char* data = nullptr;
    std::size_t size = 0;
    /// Beyond `size` when an item was cut short.
    std::size_t cursor = 0;
    BsonItem current;
    bool hasFailed = false;
};

}  // namespace core
