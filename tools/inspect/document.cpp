#include "inspect/document.h"

#include "support/keyframe_table.h"

#include <algorithm>
#include <sstream>
#include <string_view>

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

}  // namespace

Document::Document(const std::string& file, const Console& where)
    : console(where), name(InputName(file)), text(ReadInput(file, where)) {
    if (StartsWith(text, "\xFF\xFE") || StartsWith(text, "\xFE\xFF")) {
        throw Failure(name, "text in UTF-16, where UTF-8 is wanted");
    }
    if (EndsWith(file, ".kf")) {
        ReadTable();
    } else if (StartsWith(text, kUtf8Mark)) {
        text.erase(0, kUtf8Mark.size());
        ReadJson();
    } else if (LooksPacked(text)) {
        ReadPacked();
    } else {
        ReadJson();
    }
    subject = SubjectOf(document.Root());
}

// Tables are what people type; the rest of the program sees the curve that they describe.
void Document::ReadTable() {
    isTable = true;
    std::istringstream in(text);
    try {
        const example::KeyframeTable table = example::ReadKeyframeTable(in, name);
        rate = table.fps;
        text = example::MakeParameter(table).Serialize();
    } catch (const example::TableError& error) {
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
    if (const auto result = core::ParseJson(text, document.Root(), asTheLibrary); !result) {
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
    core::BsonToJson(box, document.Root());
    document.Dump(text);
}

void Document::Load(core::Parameter& curve) const {
    if (subject == Subject::OtherJson) {
        throw Failure(name, "neither a parameter nor a speed curve");
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
