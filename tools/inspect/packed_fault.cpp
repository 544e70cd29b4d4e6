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

std::string PackedFault(const core::BsonBox& box) {
    core::BsonUnpacker unpacker(box);
    std::vector<Level> open = {{1, false}};
    std::size_t number = 0;
    for (; !open.empty(); ++number) {
        const core::BsonItem* const item = unpacker.GetNextItem();
        if (item == nullptr) {
            return "packed data that ends or goes wrong in item " + std::to_string(number);
        }
        if (open.back().WantsName() && !item->IsString()) {
            return "packed data in which item " + std::to_string(number) +
                   ", a member's name, is no text";
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
    return unpacker.Eos() ? "" : "packed data with more bytes behind its document";
}

}  // namespace inspect
