// Random edits of trees beside a model of plain values. What an edit takes may lie in
// the tree that it changes; every edit is first tried with each of its allocations
// failing.

#include <core/data/json_doc.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "support/dice.h"
#include "support/json_model.h"
#include "support/tracked_allocator.h"

namespace {

using core::JsonArray;
using core::JsonDoc;
using core::JsonElem;
using core::JsonMember;
using core::JsonObject;
using core::JsonValue;
using support::BitsOf;
using support::JsonModel;
using support::ModelOf;
using support::TrackedAllocator;

/// One value of the tree, and the same in the model.
struct Place {
    JsonValue* value;
    JsonModel* model;
    std::vector<std::size_t> path;

    bool IsInsideOrSame(const Place& other) const {
        return path.size() >= other.path.size() &&
               std::equal(other.path.begin(), other.path.end(), path.begin());
    }
};

class Editor {
public:
    Editor(std::uint64_t seed, JsonValue& tree, TrackedAllocator* mayFail)
        : dice(seed), root(tree), allocator(mayFail), foreign(nullptr, &foreignAllocator) {
        foreign.MakeEmptyObject().AddArray("list").Add(nullptr).Set("of another allocator");
    }

    void EditOnce() {
        const Place target = Choose(3);
        if (model.Size() > 300 || dice.OneIn(40)) {
            Do([&] { target.value->Clear(); }, [&] { *target.model = JsonModel(); });
        } else if (target.model->kind == JsonValue::kArray && !dice.OneIn(4)) {
            EditArray(target);
        } else if (target.model->kind == JsonValue::kObject && !dice.OneIn(4)) {
            EditObject(target);
        } else {
            EditValue(target);
        }
    }

private:
    using Action = std::function<void()>;

    // Runs `edit`, also with its first, second, ... allocation failing: then nothing
    // has changed.
    void Do(const Action& edit, const Action& editModel) {
        for (std::size_t n = 1; allocator != nullptr; ++n) {
            const JsonModel before = model;
            const std::size_t failures = allocator->Failures();
            allocator->FailAt(n);
            try {
                edit();
            } catch (const std::bad_alloc&) {
                ASSERT_EQ(model, ModelOf(root)) << "after allocation " << n << " failed";
                continue;
            }
            allocator->FailAt(0);
            EXPECT_EQ(failures, allocator->Failures()) << "a failure was swallowed";
            editModel();
            ASSERT_EQ(model, ModelOf(root)) << "before: " << before;
            return;
        }
        edit();
        editModel();
        ASSERT_EQ(model, ModelOf(root));
    }

    static JsonValue& Child(JsonValue& value, std::size_t i) {
        if (value.IsArray()) {
            return value.AsArray()[static_cast<int>(i)];
        }
        return MemberOf(value.AsObject(), i);
    }
    static JsonMember& MemberOf(JsonObject& object, std::size_t i) {
        return *std::next(object.begin(), static_cast<std::ptrdiff_t>(i));
    }

    /// Somewhere, `depth` levels down or less.
    Place Choose(int depth) {
        Place place{&root, &model, {}};
        for (; depth > 0 && !place.model->children.empty() && !dice.OneIn(4); --depth) {
            const std::size_t i = Index(place.model->children.size());
            place = {&Child(*place.value, i), &place.model->children[i], place.path};
            place.path.push_back(i);
        }
        return place;
    }
    std::size_t Index(std::size_t count) {
        return static_cast<std::size_t>(dice.Below(static_cast<int>(count)));
    }

    /// A text of the tree, or a new one: the address of its first character.
    std::function<const char*()> ChooseText() {
        const Place place = Choose(4);
        const std::size_t skip = Index(20);
        if (place.model->kind == JsonValue::kString && skip <= place.model->text.size()) {
            JsonValue* const value = place.value;
            return [value, skip] { return value->AsString() + skip; };
        }
        if (!place.model->names.empty()) {
            const JsonMember& member =
                MemberOf(place.value->AsObject(), Index(place.model->names.size()));
            return [&member] { return member.Name(); };
        }
        newText = std::string(dice.Pick(std::vector<std::size_t>{0, 1, 1, 2, 15, 16, 17, 60}),
                              static_cast<char>('a' + dice.Below(3)));
        return [this] { return newText.c_str(); };
    }

    void EditValue(const Place& target) {
        JsonValue& value = *target.value;
        JsonModel& wanted = *target.model;
        const Place source = Choose(4);
        switch (dice.Below(7)) {
            case 0:
                return SetScalar(target);
            case 1: {
                const auto text = ChooseText();
                const std::string copy = text();
                const int length = static_cast<int>(Index(copy.size() + 1));
                const bool isMeasured = dice.OneIn(2);
                Do([&] { isMeasured ? value.Set(text()) : value.Set(text(), length); },
                   [&] {
                       wanted = JsonModel{.kind = JsonValue::kString};
                       wanted.text =
                           isMeasured ? copy : copy.substr(0, static_cast<std::size_t>(length));
                   });
                return;
            }
            case 2:
                Do([&] { value = *source.value; }, [&] { wanted = JsonModel(*source.model); });
                return;
            case 3:
                if (!target.IsInsideOrSame(source)) {
                    Do([&] { value = std::move(*source.value); },
                       [&] { wanted = std::exchange(*source.model, JsonModel()); });
                }
                return;
            case 4:
                if (const JsonArray* array = nullptr; std::as_const(*source.value).Get(array)) {
                    Do([&] { value.Set(*array).Count(); },
                       [&] { wanted = JsonModel(*source.model); });
                } else if (source.value->IsObject()) {
                    Do([&] { value.Set(std::as_const(*source.value).AsObject()); },
                       [&] { wanted = JsonModel(*source.model); });
                }
                return;
            case 5:
                // Between allocators a move is a copy.
                Do([&] { value = std::move(foreign); }, [&] { wanted = ModelOf(foreign); });
                EXPECT_TRUE(foreign.IsObject());
                return;
            default:
                const int kind = JsonValue::kString + dice.Below(3);
                Do(
                    [&] {
                        kind == JsonValue::kString  ? void(value.MakeEmptyString())
                        : kind == JsonValue::kArray ? void(value.MakeEmptyArray())
                                                    : void(value.MakeEmptyObject());
                    },
                    [&] { wanted = JsonModel{.kind = kind}; });
        }
    }

    void SetScalar(const Place& target) {
        const double number = dice.Between(-1e9, 1e9);
        const auto whole = static_cast<std::int64_t>(number);
        const auto bits = static_cast<std::uint64_t>(whole);
        const bool isOdd = whole % 2 != 0;
        JsonModel wanted;
        Action edit;
        switch (dice.Below(5)) {
            case 0:
                edit = [&] { target.value->Set(nullptr); };
                wanted = {.kind = JsonValue::kNull};
                break;
            case 1:
                edit = [&] { target.value->Set(isOdd); };
                wanted = {.kind = JsonValue::kBool, .bits = isOdd};
                break;
            case 2:
                edit = [&] { target.value->Set(static_cast<int>(whole)); };
                wanted = {.kind = JsonValue::kSigned, .bits = bits};
                break;
            case 3:
                edit = [&] { target.value->Set(bits); };
                wanted = {.kind = JsonValue::kUnsigned, .bits = bits};
                break;
            default:
                edit = [&] { target.value->Set(number); };
                wanted = {.kind = JsonValue::kDouble, .bits = BitsOf(number)};
        }
        Do(edit, [&] { *target.model = wanted; });
    }

    void EditArray(const Place& target) {
        JsonArray& array = target.value->AsArray();
        auto& wanted = target.model->children;
        const int count = static_cast<int>(wanted.size());
        const Place source = Choose(4);
        const auto eraseAt = [&](int i) {
            if (i < count) {
                wanted.erase(wanted.begin() + std::max(i, 0));
            }
        };
        const int i = dice.Below(count + 2) - 1;
        const int j = dice.Below(count + 2) - 1;
        const bool areInside = i >= 0 && i < count && j >= 0 && j < count;
        const auto kindIs = [](int kind) {
            return [kind](const auto& value) { return value.Kind() == kind; };
        };
        switch (dice.Below(14)) {
            case 9:
                Do([&] { array.Insert(i, *source.value); },
                   [&, copy = *source.model] {
                       wanted.insert(wanted.begin() + std::clamp(i, 0, count), copy);
                   });
                return;
            case 10:
                Do([&] { EXPECT_EQ(areInside, array.Move(i, j)); },
                   [&] {
                       if (areInside) {
                           const JsonModel moved = wanted[static_cast<std::size_t>(i)];
                           wanted.erase(wanted.begin() + i);
                           wanted.insert(wanted.begin() + j, moved);
                       }
                   });
                return;
            case 11:
                Do([&] { EXPECT_EQ(areInside, array.Swap(i, j)); },
                   [&] {
                       areInside ? std::iter_swap(wanted.begin() + i, wanted.begin() + j) : void();
                   });
                return;
            case 12: {
                const int kind = dice.Below(6);
                Do([&] { array.RemoveIf(kindIs(kind)); },
                   [&] {
                       std::erase_if(wanted, [&](const JsonModel& m) { return m.kind == kind; });
                   });
                return;
            }
            case 13:
                Do(
                    [&] {
                        array.SortBy([](const JsonValue& a, const JsonValue& b) {
                            return a.Kind() < b.Kind();
                        });
                    },
                    [&] {
                        std::stable_sort(
                            wanted.begin(), wanted.end(),
                            [](const JsonModel& a, const JsonModel& b) { return a.kind < b.kind; });
                    });
                return;
            case 0:
                Do([&] { EXPECT_EQ(&array, array.Add(nullptr).Parent()); },
                   [&] { wanted.push_back({.kind = JsonValue::kNull}); });
                return;
            case 1: {
                const JsonModel copy = *source.model;
                Do([&] { array.Add(*source.value); }, [&] { wanted.push_back(copy); });
                return;
            }
            case 2:
                Do([&] { array.AddArray(); },
                   [&] { wanted.push_back({.kind = JsonValue::kArray}); });
                return;
            case 3:
                Do([&] { array.AddObject(); },
                   [&] { wanted.push_back({.kind = JsonValue::kObject}); });
                return;
            case 4: {
                Do([&] { EXPECT_EQ(count > 0 && i < count, array.Erase(i)); },
                   [&] { count > 0 ? eraseAt(i) : void(); });
                return;
            }
            case 5: {
                // One of its own, or one of another array.
                JsonArray stranger;
                const bool isIn = i >= 0 && i < count;
                JsonElem& element = isIn ? array[i] : stranger.Add(nullptr);
                Do([&] { EXPECT_EQ(isIn, array.Erase(element)); },
                   [&] { isIn ? eraseAt(i) : void(); });
                return;
            }
            case 6: {
                const int n = dice.Below(count + 4) - 1;
                Do([&] { array.Resize(n); },
                   [&] {
                       wanted.resize(static_cast<std::size_t>(std::max(n, 0)),
                                     {.kind = JsonValue::kNull});
                   });
                return;
            }
            case 7:
                if (source.value->IsArray()) {
                    const auto copy = source.model->children;
                    Do([&] { array = std::as_const(*source.value).AsArray(); },
                       [&] { wanted = copy; });
                }
                return;
            default:
                if (source.value->IsArray() && !target.IsInsideOrSame(source)) {
                    Do([&] { array = std::move(source.value->AsArray()); },
                       [&] {
                           auto taken = std::move(source.model->children);
                           source.model->children.clear();
                           wanted = std::move(taken);
                       });
                }
        }
    }

    void EditObject(const Place& target) {
        JsonObject& object = target.value->AsObject();
        JsonModel& wanted = *target.model;
        const std::size_t count = wanted.children.size();
        const auto name = ChooseText();
        const std::string copy = name();
        const Place source = Choose(4);
        const JsonModel sourceCopy = *source.model;
        const auto found = static_cast<std::size_t>(
            std::find(wanted.names.begin(), wanted.names.end(), copy) - wanted.names.begin());
        const auto append = [&](const JsonModel& child) {
            wanted.names.push_back(copy);
            wanted.children.push_back(child);
        };
        const auto eraseAt = [&](std::size_t i) {
            if (i < wanted.children.size()) {
                wanted.names.erase(wanted.names.begin() + static_cast<std::ptrdiff_t>(i));
                wanted.children.erase(wanted.children.begin() + static_cast<std::ptrdiff_t>(i));
            }
        };
        switch (dice.Below(12)) {
            case 9: {
                const int kind = dice.Below(6);
                Do([&] { object.RemoveIf([&](const JsonMember& m) { return m.Kind() == kind; }); },
                   [&] {
                       for (std::size_t i = wanted.children.size(); i-- > 0;) {
                           wanted.children[i].kind == kind ? eraseAt(i) : void();
                       }
                   });
                return;
            }
            case 10: {
                const std::string other = count > 0 ? wanted.names[Index(count)] : "none";
                const auto at = static_cast<std::size_t>(
                    std::find(wanted.names.begin(), wanted.names.end(), other) -
                    wanted.names.begin());
                const bool mayBe = at < count && (found == count || found == at);
                Do([&] { EXPECT_EQ(mayBe, object.Rename(other, copy)); },
                   [&] { mayBe ? void(wanted.names[at] = copy) : void(); });
                return;
            }
            case 11:
                if (!target.IsInsideOrSame(source)) {
                    Do([&] { object.Add(copy, std::move(*source.value)); },
                       [&] {
                           *source.model = JsonModel();
                           append(sourceCopy);
                       });
                }
                return;
            case 0:
                Do([&] { EXPECT_EQ(&object, object.Add(name(), nullptr).Parent()); },
                   [&] { append({.kind = JsonValue::kNull}); });
                return;
            case 1:
                Do([&] { object.Add(name(), *source.value); }, [&] { append(sourceCopy); });
                return;
            case 2:
                Do([&] { object.AddArray(copy); }, [&] { append({.kind = JsonValue::kArray}); });
                return;
            case 3:
                Do([&] { object.AddObject(name()); },
                   [&] { append({.kind = JsonValue::kObject}); });
                return;
            case 4:
                Do([&] { EXPECT_STREQ(copy.c_str(), object[name()].Name()); },
                   [&] { found == count ? append({.kind = JsonValue::kNull}) : void(); });
                EXPECT_EQ(&object[copy], object.Find(copy));
                return;
            case 5:
                Do([&] { EXPECT_EQ(found < count, object.Erase(name())); },
                   [&] { eraseAt(found); });
                return;
            case 6: {
                JsonObject stranger;
                const std::size_t i = Index(count + 1);
                JsonMember& member = i < count ? MemberOf(object, i) : stranger["x"];
                if (dice.OneIn(2)) {
                    Do([&] { EXPECT_EQ(i < count, object.Erase(member)); }, [&] { eraseAt(i); });
                } else if (i < count) {
                    Do([&] { member.SetName(name()); }, [&] { wanted.names[i] = copy; });
                }
                return;
            }
            case 7:
                if (source.value->IsObject()) {
                    Do([&] { object = std::as_const(*source.value).AsObject(); },
                       [&] { wanted = sourceCopy; });
                }
                return;
            default:
                if (source.value->IsObject() && !target.IsInsideOrSame(source)) {
                    Do([&] { object = std::move(source.value->AsObject()); },
                       [&] {
                           *source.model = {.kind = JsonValue::kObject};
                           wanted = sourceCopy;
                       });
                }
        }
    }

    Dice dice;
    JsonValue& root;
    JsonModel model;
    TrackedAllocator* allocator;
    TrackedAllocator foreignAllocator;
    JsonValue foreign;
    std::string newText;
};

constexpr int kEdits = 400;

TEST(JsonEdits, LeaveATreeAsTheModelHasIt) {
    for (std::uint64_t seed = 0; seed < 30; ++seed) {
        SCOPED_TRACE(seed);
        TrackedAllocator allocator;
        JsonValue tree(&allocator);
        Editor editor(seed, tree, &allocator);
        for (int i = 0; i < kEdits && !testing::Test::HasFailure(); ++i) {
            SCOPED_TRACE(i);
            editor.EditOnce();
        }
    }
}

TEST(JsonEdits, LeaveADocumentAsTheModelHasIt) {
    for (std::uint64_t seed = 1000; seed < 1030; ++seed) {
        SCOPED_TRACE(seed);
        JsonDoc doc;
        Editor editor(seed, doc.Root(), nullptr);
        for (int i = 0; i < kEdits && !testing::Test::HasFailure(); ++i) {
            editor.EditOnce();
        }
    }
}

}  // namespace
