// Trees packed and unpacked, beside msgpack-cxx.

#include "contests.h"
#include "fresh.h"
#include "json_library.h"

#include <core/data/json_bson.h>
#include <core/data/json_doc.h>

#include <msgpack.hpp>
#include <stdexcept>

// Its header is C alone, and makes do without stdbool.h.
extern "C" {
#include <mpack.h>
}
#undef bool

namespace bench {
namespace {

using Tree = std::shared_ptr<core::JsonDoc>;

Tree Parsed(const Document& document) {
    auto tree = std::make_shared<core::JsonDoc>();
    if (tree->Parse(document.text.c_str()) < 0) {
        throw std::runtime_error(document.name + " is no JSON");
    }
    return tree;
}

msgpack::object_handle TheirTree(const core::BsonBox& box) {
    return msgpack::unpack(reinterpret_cast<const char*>(box.Data()), box.Size());
}

void Compare(const core::JsonValue& ours, const msgpack::object& theirs, Agreement& agreement) {
    const auto compareText = [&](const char* text, const msgpack::object& other) {
        agreement.Compare(other.as<std::string>() == text ? 1.0 : 0.0, 1.0);
    };
    switch (ours.Kind()) {
        case core::JsonValue::kNull:
            agreement.Compare(theirs.is_nil() ? 1.0 : 0.0, 1.0);
            break;
        case core::JsonValue::kBool:
            agreement.Compare(theirs.as<bool>() ? 1.0 : 0.0, ours.AsBool() ? 1.0 : 0.0);
            break;
        case core::JsonValue::kString:
            compareText(ours.AsString(), theirs);
            break;
        case core::JsonValue::kArray: {
            agreement.Compare(theirs.via.array.size, ours.AsArray().Count());
            const msgpack::object* other = theirs.via.array.ptr;
            for (const core::JsonElem& element : ours.AsArray()) {
                Compare(element, *other++, agreement);
            }
            break;
        }
        case core::JsonValue::kObject: {
            agreement.Compare(theirs.via.map.size, ours.AsObject().Count());
            const msgpack::object_kv* other = theirs.via.map.ptr;
            for (const core::JsonMember& member : ours.AsObject()) {
                compareText(member.Name(), other->key);
                Compare(member, (other++)->val, agreement);
            }
            break;
        }
        default:
            agreement.Compare(theirs.as<double>(), ours.AsDouble());
    }
}

// mpack knows no trees: it reads and writes one token after the other.

using Tokens = std::vector<mpack_token_t>;

Tokens ReadTokens(const char* bytes, std::size_t size) {
    Tokens tokens;
    mpack_tokbuf_t buffer;
    mpack_tokbuf_init(&buffer);
    while (size > 0) {
        if (mpack_read(&buffer, &bytes, &size, &tokens.emplace_back()) != MPACK_OK) {
            throw std::runtime_error("mpack can't read this");
        }
    }
    return tokens;
}

Tokens ReadTokens(const core::BsonBox& box) {
    return ReadTokens(reinterpret_cast<const char*>(box.Data()), box.Size());
}

std::size_t WriteTokens(const Tokens& tokens, std::vector<char>& out) {
    mpack_tokbuf_t buffer;
    mpack_tokbuf_init(&buffer);
    char* at = out.data();
    std::size_t left = out.size();
    for (mpack_token_t token : tokens) {
        if (mpack_write(&buffer, &at, &left, &token) != MPACK_OK) {
            throw std::runtime_error("mpack can't write this");
        }
    }
    return out.size() - left;
}

std::string NameOf(const char* what, const char* whose, const Document& document) {
    return std::string(what) + "/" + document.name + "/" + whose + "/" + document.Size();
}

// In processes that have just started.
const FreshJobAdded kFreshJobs[] = {
    {"unpack/core",
     [](const std::string& bytes) {
         const auto box = std::make_shared<core::BsonBox>(
             reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
         return [box] {
             core::JsonDoc out;
             core::BsonToJson(*box, out.Root());
         };
     }},
    {"unpack/msgpack-cxx", [](const std::string& bytes) {
         return [bytes] { msgpack::unpack(bytes.data(), bytes.size()); };
     }}};

}  // namespace

void AddPacked(Suite& suite, const std::vector<Document>& documents, const std::string& self) {
    suite.Section("Packed trees");
    for (const Document& document : documents) {
        const int size = static_cast<int>(document.text.size());
        const Tree tree = Parsed(document);
        const auto box = std::make_shared<core::BsonBox>();
        core::JsonToBson(tree->Root(), *box);
        const auto theirs = std::make_shared<msgpack::object_handle>(TheirTree(*box));

        const std::string ourPack = NameOf("pack", "core", document);
        const std::string theirPack = NameOf("pack", "msgpack-cxx", document);
        suite.Check(ourPack, 0.0, [=] {
            Agreement agreement;
            Compare(tree->Root(), theirs->get(), agreement);
            return agreement;
        });
        suite.Measure(ourPack, [=](benchmark::State& state) {
            core::BsonBox out;
            for (auto _ : state) {
                core::JsonToBson(tree->Root(), out);
                benchmark::DoNotOptimize(out.Data());
            }
        });
        suite.Measure(theirPack, [=](benchmark::State& state) {
            for (auto _ : state) {
                msgpack::sbuffer out;
                msgpack::pack(out, theirs->get());
                benchmark::DoNotOptimize(out.data());
            }
        });
        suite.Compare({"JsonToBson " + document.name, size, ourPack, theirPack, "msgpack-cxx pack",
                       0.9, 1.5});

        // Both with the end of what they made.
        const std::string ourUnpack = NameOf("unpack", "core", document);
        const std::string theirUnpack = NameOf("unpack", "msgpack-cxx", document);
        suite.Check(ourUnpack, 0.0, [=] {
            Agreement agreement;
            core::JsonDoc out;
            agreement.Compare(core::BsonToJson(*box, out.Root()) ? 1.0 : 0.0, 1.0);
            Compare(out.Root(), theirs->get(), agreement);
            return agreement;
        });
        suite.Measure(ourUnpack, [=](benchmark::State& state) {
            for (auto _ : state) {
                core::JsonDoc out;
                benchmark::DoNotOptimize(core::BsonToJson(*box, out.Root()));
            }
        });
        suite.Measure(theirUnpack, [=](benchmark::State& state) {
            for (auto _ : state) {
                const msgpack::object_handle out = TheirTree(*box);
                benchmark::DoNotOptimize(&out.get());
            }
        });
        suite.Compare({"BsonToJson " + document.name, size, ourUnpack, theirUnpack,
                       "msgpack-cxx unpack", 1.1, 1.5});

        if (document.text.size() > 100'000) {
            const std::string bytes(reinterpret_cast<const char*>(box->Data()), box->Size());
            suite.Compare({.name = Name("fresh unpack", document.name, 1),
                           .what = "BsonToJson " + document.name + ", fresh heap",
                           .n = size,
                           .unit = "us",
                           .measure =
                               [=] {
                                   return Figures{
                                       FreshMicroseconds(self, "unpack/core", bytes),
                                       FreshMicroseconds(self, "unpack/msgpack-cxx", bytes)};
                               },
                           .of = "msgpack-cxx unpack",
                           .goal = 1.3});
        }

        const auto tokens = std::make_shared<Tokens>(ReadTokens(*box));
        const std::string writeTokens = NameOf("pack", "mpack", document);
        const std::string readTokens = NameOf("unpack", "mpack", document);
        suite.Check(writeTokens, 0.0, [=] {
            Agreement agreement;
            std::vector<char> out(2 * box->Size());
            const Tokens again = ReadTokens(out.data(), WriteTokens(*tokens, out));
            agreement.Compare(static_cast<double>(again.size()),
                              static_cast<double>(tokens->size()));
            return agreement;
        });
        suite.Measure(writeTokens, [=](benchmark::State& state) {
            std::vector<char> out(2 * box->Size());
            for (auto _ : state) {
                benchmark::DoNotOptimize(WriteTokens(*tokens, out));
            }
        });
        suite.Measure(readTokens, [=](benchmark::State& state) {
            for (auto _ : state) {
                benchmark::DoNotOptimize(ReadTokens(*box).size());
            }
        });
        suite.Compare(
            {"JsonToBson " + document.name, size, ourPack, writeTokens, "mpack, from tokens"});
        suite.Compare(
            {"BsonToJson " + document.name, size, ourUnpack, readTokens, "mpack, to tokens"});
    }
}

}  // namespace bench
