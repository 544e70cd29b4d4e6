// The other JSON libraries.

#include "json_library.h"

#include <json/json.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>

#include <nlohmann/json.hpp>
#include <stdexcept>

namespace bench {
namespace {

// RapidJSON

void Add(const rapidjson::Value& value, Digest& digest) {
    if (value.IsArray()) {
        digest.AddArray(value.Size());
        for (const auto& element : value.GetArray()) {
            Add(element, digest);
        }
    } else if (value.IsObject()) {
        digest.AddObject(value.MemberCount());
        for (const auto& member : value.GetObject()) {
            Add(member.name, digest);
            Add(member.value, digest);
        }
    } else if (value.IsString()) {
        digest.AddText(value.GetString(), value.GetStringLength());
    } else if (value.IsNumber()) {
        digest.AddNumber(value.GetDouble());
    } else if (value.IsBool()) {
        digest.AddBool(value.GetBool());
    } else {
        digest.AddNull();
    }
}

class RapidTree final : public TreeOf<rapidjson::Document> {
public:
    std::size_t Write() const override {
        rapidjson::StringBuffer buffer;
        Write(buffer);
        return buffer.GetSize();
    }
    std::string Text() const override {
        rapidjson::StringBuffer buffer;
        Write(buffer);
        return {buffer.GetString(), buffer.GetSize()};
    }
    std::unique_ptr<JsonTree> Copy() const override {
        auto copy = std::make_unique<RapidTree>();
        copy->document->CopyFrom(*document, copy->document->GetAllocator());
        return copy;
    }
    Digest Contents() const override {
        Digest digest;
        Add(*document, digest);
        return digest;
    }

private:
    void Write(rapidjson::StringBuffer& buffer) const {
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        document->Accept(writer);
    }
};

// nlohmann/json

void Add(const nlohmann::json& value, Digest& digest) {
    if (value.is_array()) {
        digest.AddArray(value.size());
        for (const auto& element : value) {
            Add(element, digest);
        }
    } else if (value.is_object()) {
        digest.AddObject(value.size());
        for (const auto& [name, member] : value.items()) {
            digest.AddText(name.data(), name.size());
            Add(member, digest);
        }
    } else if (value.is_string()) {
        const auto& text = value.get_ref<const std::string&>();
        digest.AddText(text.data(), text.size());
    } else if (value.is_number()) {
        digest.AddNumber(value.get<double>());
    } else if (value.is_boolean()) {
        digest.AddBool(value.get<bool>());
    } else {
        digest.AddNull();
    }
}

class NlohmannTree final : public TreeOf<nlohmann::json> {
public:
    explicit NlohmannTree(nlohmann::json parsed) : TreeOf(std::move(parsed)) {}
    std::size_t Write() const override { return document->dump().size(); }
    std::string Text() const override { return document->dump(); }
    std::unique_ptr<JsonTree> Copy() const override {
        return std::make_unique<NlohmannTree>(*document);
    }
    Digest Contents() const override {
        Digest digest;
        Add(*document, digest);
        return digest;
    }
};

// jsoncpp

void Add(const Json::Value& value, Digest& digest) {
    if (value.isArray()) {
        digest.AddArray(value.size());
        for (const Json::Value& element : value) {
            Add(element, digest);
        }
    } else if (value.isObject()) {
        digest.AddObject(value.size());
        for (auto at = value.begin(); at != value.end(); ++at) {
            const std::string name = at.name();
            digest.AddText(name.data(), name.size());
            Add(*at, digest);
        }
    } else if (value.isString()) {
        const std::string text = value.asString();
        digest.AddText(text.data(), text.size());
    } else if (value.isBool()) {
        digest.AddBool(value.asBool());
    } else if (value.isNumeric()) {
        digest.AddNumber(value.asDouble());
    } else {
        digest.AddNull();
    }
}

class JsonCppTree final : public TreeOf<Json::Value> {
public:
    std::size_t Write() const override { return Text().size(); }
    std::string Text() const override {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        return Json::writeString(builder, *document);
    }
    std::unique_ptr<JsonTree> Copy() const override {
        auto copy = std::make_unique<JsonCppTree>();
        *copy->document = *document;
        return copy;
    }
    Digest Contents() const override {
        Digest digest;
        Add(*document, digest);
        return digest;
    }
};

// simdjson

void Add(const simdjson::dom::element& value, Digest& digest) {
    switch (value.type()) {
        case simdjson::dom::element_type::ARRAY: {
            const simdjson::dom::array array = value;
            digest.AddArray(array.size());
            for (const auto element : array) {
                Add(element, digest);
            }
            break;
        }
        case simdjson::dom::element_type::OBJECT: {
            const simdjson::dom::object object = value;
            digest.AddObject(object.size());
            for (const auto member : object) {
                digest.AddText(member.key.data(), member.key.size());
                Add(member.value, digest);
            }
            break;
        }
        case simdjson::dom::element_type::STRING: {
            const std::string_view text = value;
            digest.AddText(text.data(), text.size());
            break;
        }
        case simdjson::dom::element_type::BOOL:
            digest.AddBool(value.get_bool());
            break;
        case simdjson::dom::element_type::NULL_VALUE:
            digest.AddNull();
            break;
        default:
            digest.AddNumber(value.get_double());
    }
}

/// Its tree lies in the parser.
class SimdTree final : public TreeOf<simdjson::dom::parser> {
public:
    explicit SimdTree(const std::string& text) : root(document->parse(text)) {}
    std::size_t Write() const override { return Text().size(); }
    std::string Text() const override { return simdjson::minify(root); }
    std::unique_ptr<JsonTree> Copy() const override {
        throw std::logic_error("simdjson copies no trees");
    }
    Digest Contents() const override {
        Digest digest;
        Add(root, digest);
        return digest;
    }

private:
    simdjson::dom::element root;
};

}  // namespace

JsonLibrary RapidJson() {
    return {"RapidJSON", [](const std::string& text) {
                auto tree = std::make_unique<RapidTree>();
                tree->document->Parse<rapidjson::kParseFullPrecisionFlag>(text.c_str());
                if (tree->document->HasParseError()) {
                    throw std::runtime_error("RapidJSON can't read this");
                }
                return tree;
            }};
}

JsonLibrary NlohmannJson() {
    return {"nlohmann", [](const std::string& text) {
                return std::make_unique<NlohmannTree>(nlohmann::json::parse(text));
            }};
}

JsonLibrary JsonCpp() {
    return {
        "jsoncpp", [](const std::string& text) {
            auto tree = std::make_unique<JsonCppTree>();
            static const std::unique_ptr<Json::CharReader> reader(
                Json::CharReaderBuilder().newCharReader());
            if (!reader->parse(text.data(), text.data() + text.size(), &*tree->document, nullptr)) {
                throw std::runtime_error("jsoncpp can't read this");
            }
            return tree;
        }};
}

JsonLibrary SimdJson() {
    return {"simdjson", [](const std::string& text) { return std::make_unique<SimdTree>(text); }};
}

}  // namespace bench
