// The patch is read to its end before anything is changed: what it sets is copied aside,
// and what it adds stands in objects of its own. From there on nothing can fail.

#include <core/data/json_merge_patch.h>

#include "core/data/json_nodes.h"

#include <core/data/json_object.h>
#include <core/data/json_value.h>

#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace core {
namespace {

using detail::JsonNodes;

class Patching {
public:
    explicit Patching(JsonAllocator* ofTarget) : allocator(ofTarget) {}

    /// Reads a patch of an object that is there.
    void Read(JsonObject& target, const JsonObject& patch) {
        open.push_back({&target, &patch, false});
        ReadRest();
    }
    /// Makes of a patch what it makes of nothing: a tree without the nulls.
    void Fill(JsonValue& empty, const JsonObject& patch) {
        open.push_back({&empty.MakeEmptyObject(), &patch, true});
        ReadRest();
    }

    void Apply() noexcept {
        for (Change& change : changes) {
            if (!change.removed.empty()) {
                change.object->RemoveIf([&change](const JsonMember& member) {
                    return change.removed.count(std::string_view(member.Name())) != 0;
                });
            }
            JsonNodes::Splice(*change.object, change.added);
        }
        for (auto& [place, value] : values) {
            *place = std::move(value);
        }
    }

private:
    struct Pair {
        JsonObject* target;
        const JsonObject* patch;
        /// Nobody has seen the target yet.
        bool isFresh;
    };
    struct Change {
        JsonObject* object;
        JsonObject added;
        std::set<std::string, std::less<>> removed;
    };

    void ReadRest() {
        while (!open.empty()) {
            const Pair pair = open.back();
            open.pop_back();
            ReadMembers(pair);
        }
    }

    void ReadMembers(const Pair& pair) {
        std::map<std::string_view, JsonMember*> members;
        if (!pair.isFresh) {
            for (JsonMember& member : *pair.target) {
                members.try_emplace(member.Name(), &member);
            }
        }
        std::map<std::string_view, const JsonMember*> lasts;
        for (const JsonMember& member : *pair.patch) {
            lasts[member.Name()] = &member;
        }
        Change* change = nullptr;
        const auto changed = [&]() -> Change& {
            if (change == nullptr) {
                changes.push_back({pair.target, JsonObject(allocator), {}});
                change = &changes.back();
            }
            return *change;
        };
        for (const JsonMember& member : *pair.patch) {
            if (lasts[member.Name()] != &member) {
                continue;
            }
            const auto found = members.find(member.Name());
            JsonMember* const old = found != members.end() ? found->second : nullptr;
            if (member.IsNull()) {
                if (old != nullptr) {
                    changed().removed.insert(old->Name());
                }
            } else if (old == nullptr) {
                JsonObject& object = pair.isFresh ? *pair.target : changed().added;
                Copy(member, object.Add(member.Name(), nullptr));
            } else if (old->IsObject() && member.IsObject()) {
                open.push_back({&old->AsObject(), &member.AsObject(), false});
            } else {
                values.emplace_back(old, JsonValue(allocator));
                Copy(member, values.back().second);
            }
        }
    }

    /// To a value that nobody has seen yet; objects in it are left for later.
    void Copy(const JsonValue& from, JsonValue& to) {
        if (from.IsObject()) {
            open.push_back({&to.MakeEmptyObject(), &from.AsObject(), true});
        } else {
            to = from;
        }
    }

    JsonAllocator* allocator;
    std::vector<Pair> open;
    // Both keep their elements where they are.
    std::deque<Change> changes;
    std::deque<std::pair<JsonValue*, JsonValue>> values;
};

}  // namespace

void MergePatch(JsonValue& target, const JsonValue& patch) {
    if (!patch.IsObject()) {
        target = patch;
        return;
    }
    Patching patching(target.Allocator());
    if (target.IsObject()) {
        patching.Read(target.AsObject(), patch.AsObject());
        patching.Apply();
    } else {
        JsonValue fresh(target.Allocator());
        patching.Fill(fresh, patch.AsObject());
        target = std::move(fresh);
    }
}

}  // namespace core
