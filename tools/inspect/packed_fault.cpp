#include "inspect/packed_fault.h"

#include <cstdint>
#include <vector>

namespace inspect {

namespace {

struct Level {
    std::int64_t left;  // items, a map's names among them
    bool isMap;

    bool WantsName() const { return isMap && left % 2 == 0; }
};

}  // namespace

namespace {

// How many bytes the first `count` items take: the least with which they can be read.
std::size_t BytesOf(const core::BsonBox& box, std::size_t count) {
    std::size_t low = 0;
    std::size_t high = box.Size();
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        core::BsonUnpacker unpacker(box.Data(), middle);
        std::size_t read = 0;
        while (read < count && unpacker.GetNextItem() != nullptr) {
            ++read;
        }
        if (read == count) {
            high = middle;
        } else {
            low = middle + 1;
        }
    }
    return low;
}

// What starts with bytes that only look like a header: a picture, a program, text in an
// older encoding.
constexpr std::size_t kStart = 16;

std::string Fault(const core::BsonBox& box, std::size_t item, const std::string& what) {
    const std::size_t offset = BytesOf(box, item);
    const std::string place =
        "item " + std::to_string(item) + ", at byte " + std::to_string(offset);
    const bool isForeign = offset < kStart && box.Size() > 2 * kStart;
    return (isForeign ? "not a document: as packed data it goes wrong in "
                      : "packed data with a fault in ") +
           place + ": " + what;
}

}  // namespace

std::string PackedFault(const core::BsonBox& box) {
    core::BsonUnpacker unpacker(box);
    std::vector<Level> open = {{1, false}};
    std::size_t number = 0;
    for (; !open.empty(); ++number) {
        const core::BsonItem* const item = unpacker.GetNextItem();
        if (item == nullptr) {
            return Fault(
                box, number,
                BytesOf(box, number) >= box.Size() ? "the data ends" : "cut short, or of no kind");
        }
        if (open.back().WantsName() && !item->IsString()) {
            return Fault(box, number, "a member's name that is no text");
        }
        --open.back().left;
        int count = 0;
        if (item->GetMapSize(count)) {
            open.push_back({std::int64_t{2} * count, true});
        } else if (item->GetTupleSize(count)) {
            open.push_back({count, false});
        }
        while (!open.empty() && open.back().left == 0) {
            open.pop_back();
        }
    }
    return unpacker.Eos() ? "" : Fault(box, number, "more bytes behind the document");
}

}  // namespace inspect
