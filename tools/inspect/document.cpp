#include "inspect/document.h"

#include "inspect/describe.h"

#include "plot/keyframe_table.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

namespace inspect {

namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

bool StartsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

bool EndsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// Text of any kind has none of these bytes.
bool LooksBinary(std::string_view bytes) {
    constexpr std::size_t kLookedAt = 512;
    const std::string_view start = bytes.substr(0, kLookedAt);
    return std::any_of(start.begin(), start.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 ? byte < '\t' || byte > '\r' : byte == 0x7F;
    });
}

// JSON starts with an ASCII byte or a mark. Packed documents start with the header of
// a container, a text or a number, most of which are above ASCII; a small number alone
// is taken for text.
bool LooksPacked(std::string_view bytes) {
    return !bytes.empty() && static_cast<unsigned char>(bytes.front()) >= 0x80;
}

// What starts with bytes that only look like a header: a picture, a program, text in an
// older encoding.
bool LooksForeign(const core::MessagePackResult& fault, std::size_t size) {
    constexpr std::size_t kStart = 16;
    return fault.offset < kStart && size > 2 * kStart;
}

Subject SubjectOf(const core::JsonValue& root) {
    const core::JsonObject* object = nullptr;
    const core::JsonArray* keyframes = nullptr;
    if (!root.Get(object)) {
        return Subject::OtherJson;
    }
    const core::JsonMember* const sets = object->Find("keyframeSets");
    if (sets == nullptr || !sets->Get(keyframes)) {
        return Subject::OtherJson;
    }
    // Every speed curve has its source's length.
    return object->Find("_totalTime") != nullptr ? Subject::SpeedCurve : Subject::Parameter;
}

bool IsFile(const std::string& name) {
    std::error_code error;
    return name == "-" || std::filesystem::exists(std::u8string(name.begin(), name.end()), error);
}

// "an object of 2 members", for messages.
std::string ContentText(const core::JsonValue& value) {
    const core::JsonObject* object = nullptr;
    const core::JsonArray* array = nullptr;
    if (value.Get(object)) {
        return "an object of " + CountText(static_cast<std::size_t>(object->Count()), "member");
    }
    if (value.Get(array)) {
        return "an array of " + CountText(static_cast<std::size_t>(array->Count()), "element");
    }
    return value.IsString() ? "a text" : "a number, a boolean or null";
}

// How far the way to a missing place goes.
std::string MissingText(const core::JsonValue& root, std::string_view pointer) {
    if (pointer.front() != '/') {
        return "no JSON Pointer, which starts with \"/\"";
    }
    const core::JsonValue* last = nullptr;
    while (last == nullptr) {
        pointer = pointer.substr(0, pointer.rfind('/'));
        last = core::FindByPointer(root, pointer);
    }
    return "nothing is there; " + (pointer.empty() ? "the file" : std::string(pointer)) + " is " +
           ContentText(*last);
}

// A text that holds a document.
bool HoldsObject(const core::JsonValue& value, std::string& text) {
    constexpr std::string_view kSpace = " \t\n\r";
    if (!value.Get(text)) {
        return false;
    }
    const std::size_t start = text.find_first_not_of(kSpace);
    return start != std::string::npos && text[start] == '{';
}

// A name as JSON Pointers have it.
std::string PointerToken(std::string_view name) {
    std::string token;
    for (const char c : name) {
        token += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    }
    return token;
}

// The place of the curve in a file that comes first among those that lie least deep; empty
// where none is found.
std::string PlaceOfCurve(const core::JsonValue& root) {
    constexpr std::size_t kDeepest = 16;  // so that the places stay short
    struct Seen {
        const core::JsonValue* value;
        std::string pointer;
        std::size_t depth;
    };
    std::vector<Seen> seen = {{&root, "", 0}};
    for (std::size_t i = 0; i < seen.size(); ++i) {
        const Seen at = seen[i];
        std::string text;
        if (SubjectOf(*at.value) != Subject::OtherJson ||
            (HoldsObject(*at.value, text) && text.find("\"keyframeSets\"") != text.npos)) {
            return at.pointer;
        }
        const auto add = [&](const core::JsonValue& value, const std::string& token) {
            if (at.depth < kDeepest && (value.IsObject() || value.IsArray() || value.IsString())) {
                seen.push_back({&value, at.pointer + '/' + token, at.depth + 1});
            }
        };
        const core::JsonObject* object = nullptr;
        const core::JsonArray* array = nullptr;
        if (at.value->Get(object)) {
            for (const core::JsonMember& member : *object) {
                add(member, PointerToken(member.Name()));
            }
        } else if (at.value->Get(array)) {
            std::size_t index = 0;
            for (const core::JsonElem& element : *array) {
                add(element, std::to_string(index++));
            }
        }
    }
    return "";
}

}  // namespace

std::string Place::Name() const {
    return InputName(file) + (pointer.empty() ? "" : '#' + pointer);
}

std::string Place::ShortName() const {
    const std::string name = InputName(file);
    return name.substr(name.find_last_of("/\\") + 1) + (pointer.empty() ? "" : '#' + pointer);
}

Place PlaceOf(const std::string& argument) {
    if (argument.rfind(" -#", 0) == 0) {
        return {"-", argument.substr(3)};
    }
    if (!IsFile(argument)) {
        for (std::size_t at = argument.find('#'); at != std::string::npos;
             at = argument.find('#', at + 1)) {
            if (IsFile(argument.substr(0, at))) {
                return {argument.substr(0, at), argument.substr(at + 1)};
            }
        }
    }
    return {argument, ""};
}

Document::Document(const std::string& argument, const Console& where) : console(where) {
    const Place place = PlaceOf(argument);
    name = InputName(place.file);
    text = ReadInput(place.file, where);
    if (StartsWith(text, "\xFF\xFE") || StartsWith(text, "\xFE\xFF")) {
        throw Failure(name, "text in UTF-16, where UTF-8 is wanted");
    }
    if (EndsWith(place.file, ".kf")) {
        ReadTable();
    } else if (StartsWith(text, kUtf8Mark)) {
        text.erase(0, kUtf8Mark.size());
        ReadJson();
    } else if (LooksPacked(text)) {
        ReadPacked();
    } else {
        ReadJson();
    }
    if (!place.pointer.empty()) {
        name = place.Name();
        pointer = place.pointer;
        Enter();
    }
    subject = SubjectOf(tree.Root());
}

// The document is what stands at a place of the file.
void Document::Enter() {
    const core::JsonValue* const value = core::FindByPointer(tree.Root(), pointer);
    if (value == nullptr) {
        throw Failure(name, MissingText(tree.Root(), pointer));
    }
    if (std::string held; HoldsObject(*value, held)) {
        isPacked = isTable = false;
        isHeld = true;
        text = std::move(held);
        ReadJson();
        return;
    }
    isPart = true;
    tree = core::JsonTree(*value);
    const core::JsonWriteOptions whatCanBe = {core::JsonLayout::Compact, core::JsonNotFinite::Null,
                                              core::JsonEncoding::AnyBytes};
    if (const auto result = core::WriteJson(tree.Root(), text, whatCanBe); !result) {
        throw Failure(name, result.Message());
    }
}

// Tables are what people type; the rest of the program sees the curve that they describe.
void Document::ReadTable() {
    isTable = true;
    std::istringstream in(text);
    try {
        const plot::KeyframeTable table = plot::ReadKeyframeTable(in, name);
        rate = table.fps;
        text = plot::MakeParameter(table).Serialize();
    } catch (const plot::TableError& error) {
        // "name:line: what" reads like the faults of JSON.
        const std::string what = std::string(error.what()).substr(name.size() + 1);
        throw Failure(name, what.substr(0, 1) == " " ? what.substr(1) : "line " + what);
    }
    ReadJson();
}

void Document::ReadJson() {
    Progress progress(console);
    progress.Announce("parsing " + name, text.size());
    // Whatever the library reads, told where it does not.
    const core::JsonParseOptions asTheLibrary = {
        core::JsonGrammar::Wide, core::JsonOverflow::Saturate, core::JsonEncoding::AnyBytes};
    if (const auto result = core::ParseJson(text, tree.Root(), asTheLibrary); !result) {
        throw Failure(name, LooksBinary(text) ? "not a document: neither JSON nor packed data"
                                              : result.Message());
    }
}

void Document::ReadPacked() {
    isPacked = true;
    const core::BsonBox box(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    packed = core::CheckMessagePack(box);
    // The conversion to JSON ends quietly at the first fault and keeps what came before.
    if (!packed.own) {
        throw Failure(name, (LooksForeign(packed.own, text.size())
                                 ? "not a document: as packed data it goes wrong in "
                                 : "packed data with a fault in ") +
                                packed.own.Message());
    }
    core::BsonToJson(box, tree.Root());
    tree.Root().Dump(text);
}

void Document::Load(core::Parameter& curve) const {
    if (subject == Subject::OtherJson) {
        const std::string place = isHeld ? "" : PlaceOfCurve(tree.Root());
        throw Failure(name, "neither a parameter nor a speed curve" +
                                (place.empty() ? "" : "; one is at #" + pointer + place));
    }
    Progress progress(console);
    progress.Announce("loading " + name, text.size());
    if (curve.Desialize(text.c_str()) != 0) {
        throw Failure(name,
                      "a curve that the library does not take: an unknown type, or nested "
                      "too deep");
    }
}

std::unique_ptr<core::Parameter> Document::Curve() const {
    std::unique_ptr<core::Parameter> curve;
    if (subject == Subject::SpeedCurve) {
        curve = std::make_unique<core::SpeedParameter>();
    } else {
        curve = std::make_unique<core::Parameter>();
    }
    Load(*curve);
    return curve;
}

core::Parameter Document::StoredCurve() const {
    core::Parameter curve;
    Load(curve);
    return curve;
}

}  // namespace inspect
