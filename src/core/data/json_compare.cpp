#include <core/data/json_compare.h>

#include "core/data/json_places.h"

#include <core/data/json_array.h>
#include <core/data/json_object.h>
#include <core/data/json_value.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace core {
namespace {

bool IsWholeEqual(const JsonValue& whole, double real) {
    // 2^63 and 2^64 are doubles: below them a whole double converts exactly.
    if (real != std::floor(real)) {
        return false;
    }
    return whole.IsSigned()
               ? real >= -0x1p63 && real < 0x1p63 &&
                     static_cast<std::int64_t>(real) == whole.AsInt64()
               : real >= 0 && real < 0x1p64 && static_cast<std::uint64_t>(real) == whole.AsUint64();
}

bool AreNumbersEqual(const JsonValue& a, const JsonValue& b) {
    if (a.IsDouble() && b.IsDouble()) {
        const double x = a.AsDouble(), y = b.AsDouble();
        return x == y || (std::isnan(x) && std::isnan(y));
    }
    if (a.IsDouble() || b.IsDouble()) {
        return a.IsDouble() ? IsWholeEqual(b, a.AsDouble()) : IsWholeEqual(a, b.AsDouble());
    }
    std::uint64_t x = 0, y = 0;
    const bool isNegative = !a.Get(x);
    return isNegative == !b.Get(y) && (isNegative ? a.AsInt64() == b.AsInt64() : x == y);
}

/// Of values that are not containers of one kind.
bool AreLeavesEqual(const JsonValue& a, const JsonValue& b) {
    if (a.IsNumber() && b.IsNumber()) {
        return AreNumbersEqual(a, b);
    }
    if (a.Kind() != b.Kind()) {
        return false;
    }
    return a.IsString() ? std::strcmp(a.AsString(), b.AsString()) == 0
           : a.IsBool() ? a.AsBool() == b.AsBool()
                        : true;
}

/// Goes through two trees at once, without recursion.
class Comparison {
public:
    /// Without `places` it ends at the first difference.
    Comparison(const JsonCompareOptions& asked, std::vector<JsonDifference>* all)
        : options(asked), places(all) {}

    bool Run(const JsonValue& before, const JsonValue& after) {
        Compare(&before, &after);
        while (!levels.empty() && (isEqual || places != nullptr)) {
            Level& level = levels.back();
            pointer.resize(level.pointerSize);
            if (level.next == level.children.size()) {
                levels.pop_back();
                continue;
            }
            const Child child = level.children[level.next++];
            if (places != nullptr) {
                if (child.name != nullptr) {
                    detail::AppendToken(pointer, std::string_view(child.name));
                } else {
                    detail::AppendToken(pointer, static_cast<int>(level.next - 1));
                }
            }
            Compare(child.before, child.after);
        }
        return isEqual;
    }

private:
    struct Child {
        const JsonValue* before;
        const JsonValue* after;
        const char* name;
    };
    struct Level {
        std::vector<Child> children;
        std::size_t next;
        std::size_t pointerSize;
    };

    void Compare(const JsonValue* before, const JsonValue* after) {
        const JsonArray *elements = nullptr, *others = nullptr;
        const JsonObject *members = nullptr, *otherMembers = nullptr;
        const bool areBoth = before != nullptr && after != nullptr;
        if (areBoth && before->Get(elements) && after->Get(others)) {
            Open(Pairs(*elements, *others));
        } else if (areBoth && before->Get(members) && after->Get(otherMembers)) {
            bool isInOrder = true;
            std::vector<Child> children = Pairs(*members, *otherMembers, isInOrder);
            if (!isInOrder && options.order == JsonMemberOrder::Counts) {
                Note(before, after);
            }
            Open(std::move(children));
        } else if (!areBoth || !AreLeavesEqual(*before, *after)) {
            Note(before, after);
        }
    }

    void Open(std::vector<Child> children) {
        if (!children.empty()) {
            levels.push_back({std::move(children), 0, pointer.size()});
        }
    }
    void Note(const JsonValue* before, const JsonValue* after) {
        isEqual = false;
        if (places != nullptr) {
            places->push_back({pointer, before, after});
        }
    }

    static std::vector<Child> Pairs(const JsonArray& before, const JsonArray& after) {
        std::vector<Child> pairs;
        const JsonElem* a = before.First();
        const JsonElem* b = after.First();
        while (a != nullptr || b != nullptr) {
            pairs.push_back({a, b, nullptr});
            a = a != nullptr ? a->NextSibling() : nullptr;
            b = b != nullptr ? b->NextSibling() : nullptr;
        }
        return pairs;
    }

    /// Members of one name in their order, then those that only `after` has.
    static std::vector<Child> Pairs(const JsonObject& before, const JsonObject& after,
                                    bool& isInOrder) {
        std::vector<Child> pairs;
        const JsonMember* a = before.First();
        const JsonMember* b = after.First();
        for (; a != nullptr && b != nullptr && std::strcmp(a->Name(), b->Name()) == 0;
             a = a->NextSibling(), b = b->NextSibling()) {
            pairs.push_back({a, b, a->Name()});
        }
        // From here on the orders differ, or one object has more.
        struct Place {
            const JsonMember* member;
            std::ptrdiff_t position;
        };
        struct Namesakes {
            std::vector<Place> places;
            std::size_t taken = 0;
        };
        std::map<std::string_view, Namesakes> rest;
        std::ptrdiff_t position = 0;
        for (const JsonMember* member = b; member != nullptr; member = member->NextSibling()) {
            rest[member->Name()].places.push_back({member, position++});
        }
        position = -1;
        for (; a != nullptr; a = a->NextSibling()) {
            const auto found = rest.find(a->Name());
            if (found != rest.end() && found->second.taken < found->second.places.size()) {
                const Place place = found->second.places[found->second.taken++];
                isInOrder = isInOrder && place.position > position;
                position = place.position;
                pairs.push_back({a, place.member, a->Name()});
            } else {
                pairs.push_back({a, nullptr, a->Name()});
            }
        }
        for (; b != nullptr; b = b->NextSibling()) {
            Namesakes& namesakes = rest[b->Name()];
            if (namesakes.taken < namesakes.places.size()) {
                pairs.push_back({nullptr, namesakes.places[namesakes.taken++].member, b->Name()});
            }
        }
        return pairs;
    }

    JsonCompareOptions options;
    std::vector<JsonDifference>* places;
    std::vector<Level> levels;
    std::string pointer;
    bool isEqual = true;
};

}  // namespace

bool AreEqual(const JsonValue& a, const JsonValue& b, const JsonCompareOptions& options) {
    return Comparison(options, nullptr).Run(a, b);
}

std::vector<JsonDifference> FindDifferences(const JsonValue& before, const JsonValue& after,
                                            const JsonCompareOptions& options) {
    std::vector<JsonDifference> places;
    Comparison(options, &places).Run(before, after);
    return places;
}

}  // namespace core
