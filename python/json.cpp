// JSON documents as mappings and sequences of Python, and their packed form.
//
// A JsonObject or JsonArray of Python (a node, below) points at a value in a document that it
// shares with all others of that document. Nulls, booleans, numbers and texts come as Python's
// own.
//
//  1. A document knows all nodes that point into it.
//  2. Before a part of a tree is removed or replaced, the nodes in it move to a copy of that
//     part, a document of its own. So they never dangle, and behave as those of Python do:
//     what was taken out of a dict lives on.
//  3. A new value is made as a whole, aside, before anything changes; making it may call
//     Python code, which may change any document.

#include "values.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

namespace core_python {

namespace {

using core::JsonArray;
using core::JsonObject;
using core::JsonValue;

class Node;

struct Document {
    core::JsonDoc tree;
    std::unordered_multimap<const JsonValue*, Node*> nodes;
};

class Node {
public:
    Node(std::shared_ptr<Document> in, JsonValue& at) : document(std::move(in)), place(&at) {
        document->nodes.emplace(place, this);
    }
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;
    ~Node() { Forget(); }

    JsonValue& Value() const noexcept { return *place; }
    const std::shared_ptr<Document>& In() const noexcept { return document; }
    core::JsonAllocator* Allocator() const noexcept { return document->tree.Allocator(); }

    void MoveTo(const std::shared_ptr<Document>& other, JsonValue& at) {
        other->nodes.emplace(&at, this);
        Forget();
        document = other;
        place = &at;
    }

private:
    void Forget() noexcept {
        const auto [first, last] = document->nodes.equal_range(place);
        for (auto it = first; it != last; ++it) {
            if (it->second == this) {
                document->nodes.erase(it);
                return;
            }
        }
    }

    std::shared_ptr<Document> document;
    JsonValue* place;
};

struct ObjectNode : Node {
    using Node::Node;
    JsonObject& operator*() const { return Value().AsObject(); }
};
struct ArrayNode : Node {
    using Node::Node;
    JsonArray& operator*() const { return Value().AsArray(); }
};

/// The arrays and objects of a tree, each before what is in it.
std::vector<JsonValue*> ContainersOf(JsonValue& root) {
    std::vector<JsonValue*> found;
    const auto note = [&found](JsonValue& value) {
        if (value.IsArray() || value.IsObject()) {
            found.push_back(&value);
        }
    };
    note(root);
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (found[i]->IsArray()) {
            for (JsonValue& element : found[i]->AsArray()) {
                note(element);
            }
        } else {
            for (JsonValue& member : found[i]->AsObject()) {
                note(member);
            }
        }
    }
    return found;
}

/// To be called before `going` is removed or replaced: see the second rule above.
void KeepNodesOf(const std::shared_ptr<Document>& document, JsonValue& going) {
    const std::vector<JsonValue*> containers = ContainersOf(going);
    bool isHeld = false;
    for (const JsonValue* each : containers) {
        isHeld = isHeld || document->nodes.count(each) != 0;
    }
    if (!isHeld) {
        return;
    }
    const auto apart = std::make_shared<Document>();
    apart->tree.Root() = going;
    const std::vector<JsonValue*> copies = ContainersOf(apart->tree.Root());
    for (std::size_t i = 0; i < containers.size(); ++i) {
        for (auto it = document->nodes.find(containers[i]); it != document->nodes.end();
             it = document->nodes.find(containers[i])) {
            it->second->MoveTo(apart, *copies[i]);
        }
    }
}

// From the library to Python

py::object NodeOf(const std::shared_ptr<Document>& document, JsonValue& value) {
    if (value.IsArray()) {
        return py::cast(std::make_unique<ArrayNode>(document, value));
    }
    return py::cast(std::make_unique<ObjectNode>(document, value));
}

py::object ScalarOf(const JsonValue& value) {
    switch (value.Kind()) {
        case JsonValue::kBool:
            return py::bool_(value.AsBool());
        case JsonValue::kSigned:
            return py::int_(value.AsInt64());
        case JsonValue::kUnsigned:
            return py::int_(value.AsUint64());
        case JsonValue::kDouble:
            return py::float_(value.AsDouble());
        case JsonValue::kString:
            return TextOf(value.AsString());
        default:
            return py::none();
    }
}

py::object ObjectOf(const std::shared_ptr<Document>& document, JsonValue& value) {
    return value.IsArray() || value.IsObject() ? NodeOf(document, value) : ScalarOf(value);
}

/// A level of depth on Python's stack; raises RecursionError where it is too deep.
class Level {
public:
    explicit Level(const char* where) {
        if (Py_EnterRecursiveCall(where) != 0) {
            throw py::error_already_set();
        }
    }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;
    ~Level() { Py_LeaveRecursiveCall(); }
};

py::object PythonOf(const JsonValue& value) {
    const Level level(" while a JSON tree becomes objects");
    if (value.IsArray()) {
        py::list out;
        for (const JsonValue& element : value.AsArray()) {
            out.append(PythonOf(element));
        }
        return out;
    }
    if (value.IsObject()) {
        py::dict out;
        for (const core::JsonMember& member : value.AsObject()) {
            const py::str name = TextOf(member.Name());
            if (!out.contains(name)) {
                out[name] = PythonOf(member);
            }
        }
        return out;
    }
    return ScalarOf(value);
}

// From Python to the library

void Fill(JsonValue& out, py::handle from);

void FillNumber(JsonValue& out, py::handle from) {
    if (!IsInteger(from)) {
        const double number = PyFloat_AsDouble(from.ptr());
        if (number == -1.0 && PyErr_Occurred() != nullptr) {
            throw py::error_already_set();
        }
        out.Set(number);
        return;
    }
    const auto number = py::reinterpret_steal<py::object>(PyNumber_Index(from.ptr()));
    int overflow = 0;
    const long long small = PyLong_AsLongLongAndOverflow(number.ptr(), &overflow);
    if (overflow == 0) {
        out.Set(static_cast<std::int64_t>(small));
        return;
    }
    const unsigned long long big = overflow > 0 ? PyLong_AsUnsignedLongLong(number.ptr()) : 0;
    if (overflow < 0 || PyErr_Occurred() != nullptr) {
        PyErr_Clear();
        throw py::value_error("an integer of more than 64 bits: " + std::string(py::str(number)));
    }
    out.Set(static_cast<std::uint64_t>(big));
}

void FillContainer(JsonValue& out, py::handle from) {
    const Level level(" while objects become a JSON tree");
    if (py::isinstance(from, names.mapping)) {
        JsonObject& object = out.MakeEmptyObject();
        for (const py::handle item : py::list(from.attr("items")())) {
            const auto pair = py::reinterpret_borrow<py::tuple>(item);
            if (!PyUnicode_Check(py::handle(pair[0]).ptr())) {
                RaiseTypeError("the name of a member is a str", pair[0]);
            }
            Fill(object.Add(TextFrom(pair[0]), nullptr), pair[1]);
        }
    } else if (py::isinstance(from, names.sequence) && !PyBytes_Check(from.ptr())) {
        JsonArray& array = out.MakeEmptyArray();
        for (const py::handle element : py::list(py::reinterpret_borrow<py::object>(from))) {
            Fill(array.Add(nullptr), element);
        }
    } else {
        RaiseTypeError("JSON has None, bool, int, float, str, mappings and sequences", from);
    }
}

void Fill(JsonValue& out, py::handle from) {
    if (from.is_none()) {
        out.Set(nullptr);
    } else if (IsBool(from)) {
        out.Set(PyObject_IsTrue(from.ptr()) == 1);
    } else if (PyUnicode_Check(from.ptr())) {
        out.Set(TextFrom(from));
    } else if (py::isinstance<Node>(from)) {
        out = py::cast<const Node&>(from).Value();
    } else if (py::isinstance<py::array>(from)) {
        Fill(out, from.attr("tolist")());
    } else if (IsNumber(from)) {
        FillNumber(out, from);
    } else {
        FillContainer(out, from);
    }
}

/// The tree of whatever is given: a node's own, or one that is made of Python's objects.
class Tree {
public:
    explicit Tree(py::handle from) {
        if (py::isinstance<Node>(from)) {
            value = &py::cast<const Node&>(from).Value();
        } else {
            Fill(made.Root(), from);
            value = &made.Root();
        }
    }
    const JsonValue& operator*() const { return *value; }

private:
    core::JsonDoc made;
    const JsonValue* value = nullptr;
};

/// `from` in the document of `node`, to be moved to where it belongs.
JsonValue NewValue(const Node& node, py::handle from) {
    JsonValue fresh(node.Allocator());
    Fill(fresh, from);
    return fresh;
}

void Replace(const Node& node, JsonValue& value, JsonValue&& fresh) {
    KeepNodesOf(node.In(), value);
    value = std::move(fresh);
}

// What objects and arrays have in common

template <class Made>
std::unique_ptr<Made> MakeNode(py::handle from) {
    const auto document = std::make_shared<Document>();
    Fill(document->tree.Root(), from);
    return std::make_unique<Made>(document, document->tree.Root());
}

core::JsonWriteOptions WriteOptions(bool pretty, bool nanAsNull, bool anyBytes) {
    core::JsonWriteOptions options;
    options.layout = pretty ? core::JsonLayout::Pretty : core::JsonLayout::Compact;
    options.notFinite = nanAsNull ? core::JsonNotFinite::Null : core::JsonNotFinite::Refuse;
    options.encoding = anyBytes ? core::JsonEncoding::AnyBytes : core::JsonEncoding::Utf8;
    return options;
}

std::string Write(const JsonValue& value, const core::JsonWriteOptions& options) {
    std::string out;
    if (const core::JsonWriteResult result = core::WriteJson(value, out, options); !result) {
        Raise(names.jsonError, result.Message(), result.reason, py::none(), py::none(), py::none(),
              result.pointer);
    }
    return out;
}

py::bytes BytesOf(const JsonValue& value) {
    core::BsonBox box;
    core::JsonToBson(value, box);
    // The first byte is null where there are none.
    return box.Size() == 0
               ? py::bytes()
               : py::bytes(static_cast<const char*>(static_cast<const void*>(box.Data())),
                           box.Size());
}

/// Bytes of any object that has them, held while this lives.
class Buffer {
public:
    explicit Buffer(py::handle from) {
        if (PyObject_GetBuffer(from.ptr(), &view, PyBUF_SIMPLE) != 0) {
            throw py::error_already_set();
        }
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() { PyBuffer_Release(&view); }

    const unsigned char* Data() const { return static_cast<const unsigned char*>(view.buf); }
    std::size_t Size() const { return static_cast<std::size_t>(view.len); }

private:
    Py_buffer view{};
};

template <class Bound>
void BindTree(Bound& bound) {
    using Made = typename Bound::type;
    using namespace py::literals;
    bound.def("__len__", [](const Made& self) { return (*self).Count(); })
        .def("to_python", [](const Made& self) { return PythonOf(self.Value()); })
        .def(
            "find",
            [](const Made& self, const py::object& pointer, const py::object& fallback) {
                JsonValue* const found = core::FindByPointer(self.Value(), TextFrom(pointer));
                return found != nullptr ? ObjectOf(self.In(), *found) : fallback;
            },
            "pointer"_a, "default"_a = py::none())
        .def(
            "set",
            [](const Made& self, const py::object& pointer, const py::object& value) {
                const std::string at = TextFrom(pointer);
                JsonValue fresh = NewValue(self, value);
                JsonValue* const place =
                    at.empty() ? nullptr : core::MakeByPointer(self.Value(), at);
                if (place == nullptr) {
                    throw py::value_error("no value can be made at '" + at + "'");
                }
                Replace(self, *place, std::move(fresh));
            },
            "pointer"_a, "value"_a)
        .def("clear",
             [](const Made& self) {
                 for (JsonValue& child : *self) {
                     KeepNodesOf(self.In(), child);
                 }
                 (*self).Clear();
             })
        .def("__eq__",
             [](const Made& self, const py::object& other) -> py::object {
                 if (!py::isinstance<Node>(other) && !py::isinstance(other, names.mapping) &&
                     !py::isinstance(other, names.sequence)) {
                     return py::reinterpret_borrow<py::object>(Py_NotImplemented);
                 }
                 try {
                     return py::bool_(core::AreEqual(self.Value(), *Tree(other)));
                 } catch (const py::type_error&) {
                 } catch (const py::value_error&) {
                 }
                 return py::bool_(false);  // JSON can't hold the other
             })
        .def("__repr__",
             [](const py::object& self) {
                 return py::str("core.{}({!r})")
                     .format(py::type::of(self).attr("__name__"), self.attr("to_python")());
             })
        .def("__copy__", [](const py::object& self) { return MakeNode<Made>(self); })
        .def("__deepcopy__",
             [](const py::object& self, const py::object&) { return MakeNode<Made>(self); })
        .def(py::pickle([](const Made& self) { return py::make_tuple(BytesOf(self.Value())); },
                        [](const py::tuple& state) {
                            const Buffer bytes(state[0]);
                            const auto document = std::make_shared<Document>();
                            JsonValue& root = document->tree.Root();
                            core::BsonToJson(core::BsonBox(bytes.Data(), bytes.Size()), root);
                            std::is_same_v<Made, ArrayNode> ? void(root.AsArray())
                                                            : void(root.AsObject());
                            return std::make_unique<Made>(document, root);
                        }));
    bound.attr("__hash__") = py::none();
    bound.attr("__module__") = "core";
}

// Objects

JsonValue& Member(const ObjectNode& self, const py::object& name) {
    core::JsonMember* const found =
        PyUnicode_Check(name.ptr()) ? (*self).Find(TextFrom(name)) : nullptr;
    if (found == nullptr) {
        Raise(PyExc_KeyError, name);
    }
    return *found;
}

py::list NamesOf(const ObjectNode& self) {
    py::list out;
    for (const core::JsonMember& member : core::JsonObjectView(*self)) {
        out.append(TextOf(member.Name()));
    }
    return out;
}

void BindObject(py::module_& module) {
    py::class_<ObjectNode, Node> bound(module, "JsonObject");
    BindTree(bound);
    bound
        .def(
            py::init([](const py::object& items) { return MakeNode<ObjectNode>(py::dict(items)); }),
            py::arg("items") = py::tuple())
        .def("__len__", [](const ObjectNode& self) { return core::JsonObjectView(*self).Count(); })
        .def("__iter__", [](const ObjectNode& self) { return py::iter(NamesOf(self)); })
        .def("__contains__",
             [](const ObjectNode& self, const py::object& name) {
                 return PyUnicode_Check(name.ptr()) && (*self).Find(TextFrom(name)) != nullptr;
             })
        .def("__getitem__",
             [](const ObjectNode& self, const py::object& name) {
                 return ObjectOf(self.In(), Member(self, name));
             })
        .def("__setitem__",
             [](const ObjectNode& self, const py::object& name, const py::object& value) {
                 if (!PyUnicode_Check(name.ptr())) {
                     RaiseTypeError("the name of a member is a str", name);
                 }
                 const std::string text = TextFrom(name);
                 JsonValue fresh = NewValue(self, value);
                 Replace(self, (*self)[text], std::move(fresh));
             })
        .def("__delitem__", [](const ObjectNode& self, const py::object& name) {
            Member(self, name);
            // All of that name, or the next one would take its place.
            const std::string text = TextFrom(name);
            while (core::JsonMember* const member = (*self).Find(text)) {
                KeepNodesOf(self.In(), *member);
                (*self).Erase(*member);
            }
        });
}

// Arrays

void RemoveElements(const ArrayNode& self, const py::object& index) {
    JsonArray& array = *self;
    Slice gone{0, 0, 1, 1};
    if (py::isinstance<py::slice>(index)) {
        gone = SliceFrom(index, array.Count());
    } else {
        gone.start = IndexFrom(index, array.Count());
    }
    if (gone.step < 0) {
        gone.start += (gone.length - 1) * gone.step;
        gone.step = -gone.step;
    }
    py::ssize_t at = 0, removed = 0;
    const auto isGone = [&] {
        const py::ssize_t from = at++ - gone.start;
        return removed < gone.length && from >= 0 && from % gone.step == 0 && ++removed > 0;
    };
    for (JsonValue& element : array) {
        if (isGone()) {
            KeepNodesOf(self.In(), element);
        }
    }
    at = removed = 0;
    array.RemoveIf([&](const JsonValue&) { return isGone(); });
}

py::object ElementsOf(const ArrayNode& self, const py::object& index) {
    JsonArray& array = *self;
    if (!py::isinstance<py::slice>(index)) {
        return ObjectOf(self.In(), array[IndexFrom(index, array.Count())]);
    }
    const Slice slice = SliceFrom(index, array.Count());
    const core::JsonArrayAccessor elements(array);
    py::list out;
    for (py::ssize_t i = 0; i < slice.length; ++i) {
        out.append(ObjectOf(self.In(), elements[static_cast<int>(slice.start + i * slice.step)]));
    }
    return out;
}

void BindArray(py::module_& module) {
    using namespace py::literals;
    py::class_<ArrayNode, Node> bound(module, "JsonArray");
    BindTree(bound);
    bound
        .def(py::init([](const py::iterable& elements) {
                 return MakeNode<ArrayNode>(py::list(elements));
             }),
             "elements"_a = py::tuple())
        .def("__iter__",
             [](const ArrayNode& self) {
                 return py::iter(
                     ElementsOf(self, py::slice(std::nullopt, std::nullopt, std::nullopt)));
             })
        .def("__contains__", [](const py::object& self,
                                const py::object& value) { return py::list(self).contains(value); })
        .def("__getitem__", &ElementsOf)
        .def("__setitem__",
             [](const ArrayNode& self, const py::object& index, const py::object& value) {
                 JsonValue fresh = NewValue(self, value);
                 JsonArray& array = *self;
                 Replace(self, array[IndexFrom(index, array.Count())], std::move(fresh));
             })
        .def("__delitem__", &RemoveElements)
        .def(
            "append",
            [](const ArrayNode& self, const py::object& value) {
                JsonValue fresh = NewValue(self, value);
                (*self).Add(std::move(fresh));
            },
            "value"_a)
        .def(
            "insert",
            [](const ArrayNode& self, py::ssize_t index, const py::object& value) {
                JsonValue fresh = NewValue(self, value);
                JsonArray& array = *self;
                const py::ssize_t count = array.Count();
                index = std::clamp<py::ssize_t>(index < 0 ? index + count : index, 0, count);
                array.Insert(static_cast<int>(index), std::move(fresh));
            },
            "index"_a, "value"_a);
}

// Texts, files and bytes

core::JsonParseOptions ParseOptions(bool wide, const std::string& overflow, bool anyBytes) {
    using core::JsonOverflow;
    core::JsonParseOptions options;
    options.grammar = wide ? core::JsonGrammar::Wide : core::JsonGrammar::Standard;
    options.overflow = Choice<JsonOverflow>(overflow, "overflow",
                                            {{"refuse", JsonOverflow::Refuse},
                                             {"double", JsonOverflow::ToDouble},
                                             {"saturate", JsonOverflow::Saturate}});
    options.encoding = anyBytes ? core::JsonEncoding::AnyBytes : core::JsonEncoding::Utf8;
    return options;
}

py::object ParseText(const py::object& text, bool wide, const std::string& overflow,
                     bool anyBytes) {
    const core::JsonParseOptions options = ParseOptions(wide, overflow, anyBytes);
    std::string bytes;
    if (PyUnicode_Check(text.ptr())) {
        const auto encoded = py::reinterpret_steal<py::object>(
            PyUnicode_AsEncodedString(text.ptr(), "utf-8", "surrogateescape"));
        if (!encoded) {
            throw py::error_already_set();
        }
        bytes = py::cast<std::string>(encoded);
    } else {
        const Buffer buffer(text);
        bytes.assign(buffer.Data(), buffer.Data() + buffer.Size());
    }
    const auto document = std::make_shared<Document>();
    core::JsonParseResult result;
    {
        const py::gil_scoped_release unlocked;
        result = core::ParseJson(bytes, document->tree.Root(), options);
    }
    if (!result) {
        RaiseJsonError(result);
    }
    return ObjectOf(document, document->tree.Root());
}

/// The path as the library takes it, UTF-8.
std::string PathFrom(const py::object& path) {
    PyObject* bytes = nullptr;
    if (PyUnicode_FSConverter(path.ptr(), &bytes) == 0) {
        throw py::error_already_set();
    }
    return py::cast<std::string>(py::reinterpret_steal<py::object>(bytes));
}

py::object ParseFile(const py::object& path, bool wide, const std::string& overflow,
                     bool anyBytes) {
    const core::JsonParseOptions options = ParseOptions(wide, overflow, anyBytes);
    const std::string name = PathFrom(path);
    const auto document = std::make_shared<Document>();
    core::JsonParseResult result;
    {
        const py::gil_scoped_release unlocked;
        result = core::ParseJsonFile(name, document->tree.Root(), options);
    }
    if (!result && result.line == 0) {
        // Python knows which OSError it is: a missing file, a folder, no permission.
        py::module_::import("builtins").attr("open")(path, "rb").attr("close")();
        Raise(PyExc_OSError, name + ": " + result.reason);
    }
    if (!result) {
        RaiseJsonError(result);
    }
    return ObjectOf(document, document->tree.Root());
}

void SaveTree(const py::object& path, const py::object& value, bool pretty, bool nanAsNull,
              bool anyBytes) {
    const std::string name = PathFrom(path);
    const std::string text = Write(*Tree(value), WriteOptions(pretty, nanAsNull, anyBytes)) + "\n";
    core::SaveResult result;
    {
        const py::gil_scoped_release unlocked;
        result = core::SaveFile(name, text);
    }
    if (!result) {
        Raise(PyExc_OSError, name + ": " + result.reason);
    }
}

py::object Unpack(const py::object& data, const std::string& binary, const std::string& extensions,
                  const std::string& timestamps, const std::string& keys, const std::string& zeros,
                  bool anyBytes, std::size_t maxDepth) {
    using core::MessagePackForeign, core::MessagePackKeys, core::MessagePackTime,
        core::MessagePackZeros;
    const std::pair<const char*, MessagePackForeign> foreign[] = {
        {"refuse", MessagePackForeign::Refuse},
        {"skip", MessagePackForeign::Skip},
        {"keep", MessagePackForeign::Keep}};
    core::MessagePackOptions options;
    options.binary = Choice(binary, "binary", foreign);
    options.extensions = Choice(extensions, "extensions", foreign);
    options.timestamps = Choice<MessagePackTime>(timestamps, "timestamps",
                                                 {{"text", MessagePackTime::Text},
                                                  {"seconds", MessagePackTime::Seconds},
                                                  {"extension", MessagePackTime::Extension}});
    options.keys = Choice<MessagePackKeys>(
        keys, "keys", {{"texts", MessagePackKeys::Texts}, {"integers", MessagePackKeys::Integers}});
    options.zeros = Choice<MessagePackZeros>(
        zeros, "zeros", {{"refuse", MessagePackZeros::Refuse}, {"cut", MessagePackZeros::Cut}});
    options.encoding = anyBytes ? core::JsonEncoding::AnyBytes : core::JsonEncoding::Utf8;
    options.maxDepth = maxDepth;
    const Buffer bytes(data);
    const auto document = std::make_shared<Document>();
    core::MessagePackResult result;
    {
        const py::gil_scoped_release unlocked;
        result =
            core::MessagePackToJson(bytes.Data(), bytes.Size(), document->tree.Root(), options);
    }
    if (!result) {
        Raise(names.packError, result.Message(), result.reason, result.offset, result.item);
    }
    return ObjectOf(document, document->tree.Root());
}

}  // namespace

void RaiseJsonError(const core::JsonParseResult& result) {
    Raise(names.jsonError, result.Message(), result.reason, result.offset, result.line,
          result.column);
}

void BindJson(py::module_& module) {
    using namespace py::literals;
    py::class_<Node>(module, "_JsonNode");
    BindObject(module);
    BindArray(module);
    module.def("parse_json", &ParseText, "text"_a, py::kw_only(), "wide"_a = false,
               "overflow"_a = "refuse", "any_bytes"_a = false);
    module.def("parse_json_file", &ParseFile, "path"_a, py::kw_only(), "wide"_a = false,
               "overflow"_a = "refuse", "any_bytes"_a = false);
    module.def(
        "write_json",
        [](const py::object& value, bool pretty, bool nanAsNull, bool anyBytes) {
            return TextOf(Write(*Tree(value), WriteOptions(pretty, nanAsNull, anyBytes)));
        },
        "value"_a, py::kw_only(), "pretty"_a = false, "nan_as_null"_a = false,
        "any_bytes"_a = false);
    module.def("save_json", &SaveTree, "path"_a, "value"_a, py::kw_only(), "pretty"_a = false,
               "nan_as_null"_a = false, "any_bytes"_a = false);
    module.def(
        "pack", [](const py::object& value) { return BytesOf(*Tree(value)); }, "value"_a);
    module.def("unpack", &Unpack, "data"_a, py::kw_only(), "binary"_a = "refuse",
               "extensions"_a = "refuse", "timestamps"_a = "text", "keys"_a = "texts",
               "zeros"_a = "refuse", "any_bytes"_a = false, "max_depth"_a = 1024);
}

}  // namespace core_python
