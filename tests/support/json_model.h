#pragma once

#include <core/data/json_array.h>
#include <core/data/json_object.h>
#include <core/data/json_value.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

namespace support {

/// A JSON tree as plain values: what a `JsonValue` should hold.
struct JsonModel {
    int kind = core::JsonValue::kEmpty;
    /// The bits of a boolean or number, 0 otherwise.
    std::uint64_t bits = 0;
    std::string text{};
    /// Of an object's members.
    std::vector<std::string> names{};
    std::vector<JsonModel> children{};

    bool operator==(const JsonModel&) const = default;
    std::size_t Size() const {
        std::size_t size = 1;
        for (const JsonModel& child : children) {
            size += child.Size();
        }
        return size;
    }
    /// As text in which nothing is lost: doubles as their bits, lengths and counts too.
    friend std::ostream& operator<<(std::ostream& out, const JsonModel& model) {
        using core::JsonValue;
        const auto quoted = [](const std::string& words) {
            return std::to_string(words.size()) + "'" + words + "'";
        };
        switch (model.kind) {
            case JsonValue::kEmpty:
                return out << "empty";
            case JsonValue::kNull:
                return out << "null";
            case JsonValue::kBool:
                return out << (model.bits != 0 ? "true" : "false");
            case JsonValue::kSigned:
                return out << static_cast<std::int64_t>(model.bits);
            case JsonValue::kUnsigned:
                return out << model.bits << "u";
            case JsonValue::kDouble:
                return out << "#" << model.bits;
            case JsonValue::kString:
                return out << quoted(model.text);
            default:
                break;
        }
        const bool isArray = model.kind == JsonValue::kArray;
        out << (isArray ? "[" : "{");
        for (std::size_t i = 0; i < model.children.size(); ++i) {
            out << (isArray ? "" : quoted(model.names[i]) + ":") << model.children[i] << ",";
        }
        return out << model.children.size() << (isArray ? "]" : "}");
    }
};

inline std::uint64_t BitsOf(double number) {
    std::uint64_t bits;
    std::memcpy(&bits, &number, sizeof bits);
    return bits;
}

/// What a shallow tree holds; its lists must be sound and of one allocator.
inline JsonModel ModelOf(const core::JsonValue& value) {
    JsonModel model;
    model.kind = value.Kind();
    switch (model.kind) {
        case core::JsonValue::kBool:
            model.bits = value.AsBool() ? 1 : 0;
            break;
        case core::JsonValue::kSigned:
            model.bits = static_cast<std::uint64_t>(value.AsInt64());
            break;
        case core::JsonValue::kUnsigned:
            model.bits = value.AsUint64();
            break;
        case core::JsonValue::kDouble:
            model.bits = BitsOf(value.AsDouble());
            break;
        case core::JsonValue::kString:
            model.text = value.AsString();
            break;
        case core::JsonValue::kArray:
            EXPECT_EQ(value.Allocator(), value.AsArray().Allocator());
            for (const core::JsonElem& element : value.AsArray()) {
                EXPECT_EQ(value.Allocator(), element.Allocator());
                model.children.push_back(ModelOf(element));
            }
            EXPECT_EQ(value.AsArray().Count(), static_cast<int>(model.children.size()));
            break;
        case core::JsonValue::kObject:
            EXPECT_EQ(value.Allocator(), value.AsObject().Allocator());
            for (const core::JsonMember& member : value.AsObject()) {
                EXPECT_EQ(value.Allocator(), member.Allocator());
                model.names.emplace_back(member.Name());
                model.children.push_back(ModelOf(member));
            }
            EXPECT_EQ(value.AsObject().Count(), static_cast<int>(model.children.size()));
            break;
        default:
            break;
    }
    return model;
}

}  // namespace support
