// What a document is, in a line, and what is suspicious about it, in a line each. The
// keyframes are looked at twice: as they stand in the file, which the library sorts and
// thins while it loads, and as they were loaded.

#include "inspect/describe.h"
#include "inspect/document.h"
#include "inspect/verbs.h"

#include "plot/clip.h"
#include "plot/keyframe_table.h"
#include "plot/levers.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <ostream>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

namespace inspect {

namespace {

using core::TimeValuePair;
using Interpolation = core::KeyframeInterpolationType;

// Files keep eight decimals, which may round a fraction of 1 upwards.
constexpr double kSavedDigit = 1e-8;

// A hundredth of a frame, at 100 frames per second.
constexpr double kVisibleJump = 1e-4;

std::string SecondsText(double seconds) {
    return NumberText(std::round(seconds * 1e4) / 1e4) + " s";
}

class Checker {
public:
    Checker(const Document& what, const Console& where) : document(what), console(where) {}

    /// How much is suspicious.
    std::size_t Check() {
        if (document.What() == Subject::OtherJson) {
            console.out << document.Name() << ": " << Form() << OtherJsonText() << '\n';
            CheckText();
            return findings;
        }
        core::Parameter stored = document.StoredCurve();
        std::unique_ptr<core::Parameter> curve;
        if (document.What() == Subject::SpeedCurve) {
            curve = document.Curve();
        }
        auto* const speed = dynamic_cast<core::SpeedParameter*>(curve.get());
        const std::string digest = DigestText(stored);
        console.out << document.Name() << ": " << Form()
                    << (speed != nullptr ? "speed curve" : "parameter") << ParameterText(stored)
                    << (speed != nullptr ? SpeedText(*speed) : "") << digest << '\n';
        CheckText();
        CheckStoredOrder(stored);
        const std::vector<TimeValuePair> keyframes = plot::Keyframes(stored);
        for (std::size_t i = 0; i < keyframes.size(); ++i) {
            CheckKeyframe(stored, keyframes, i);
        }
        CheckStraightness(stored, keyframes);
        if (speed != nullptr) {
            CheckSpeeds(*speed, keyframes);
            CheckJumps(*speed);
            CheckFreezes(*speed, keyframes);
        }
        return findings;
    }

private:
    const core::JsonObject& Members() const { return document.Root().AsObject(); }

    std::string Form() const {
        return document.IsPacked() ? "packed, " : document.IsTable() ? "table, " : "";
    }

    std::string OtherJsonText() const {
        const core::JsonValue& root = document.Root();
        const core::JsonObject* object = nullptr;
        const core::JsonArray* array = nullptr;
        if (root.Get(object)) {
            return "other JSON, an object of " +
                   CountText(static_cast<std::size_t>(object->Count()), "member");
        }
        if (root.Get(array)) {
            return "other JSON, an array of " +
                   CountText(static_cast<std::size_t>(array->Count()), "element");
        }
        return root.IsString()   ? "other JSON, a text"
               : root.IsNumber() ? "other JSON, a number"
               : root.IsBool()   ? "other JSON, a boolean"
                                 : "other JSON, null";
    }

    std::string ParameterText(core::Parameter& stored) const {
        std::string text =
            " of type " + std::string(plot::ParameterTypeName(stored.GetParameterType()));
        const int count = stored.GetKeyFramesCount();
        text += ", " + CountText(static_cast<std::size_t>(count), "keyframe");
        if (count > 0) {
            text += " from " + TimeText(stored.GetPointTime(0)) + " to " +
                    TimeText(stored.GetPointTime(count - 1));
        }
        core::ValAny low;
        core::ValAny high;
        if (HasRange(stored, low, high)) {
            text += ", range " + ValueText(low) + " to " + ValueText(high);
        }
        if (stored.GetBaseRatio().IsNumber()) {
            text += ", base ratio " + ValueText(stored.GetBaseRatio());
        }
        return text;
    }

    static std::string SpeedText(core::SpeedParameter& speed) {
        std::string text;
        if (const std::size_t count = plot::FreezesOf(speed).size(); count > 0) {
            text += ", " + CountText(count, "freeze");
        }
        if (speed.GetReverse() != 0) {
            text += ", in reverse";
        }
        return text + ", " + NumberText(speed.GetSourceTotalTime()) + " s at " +
               NumberText(speed.GetSourceFPS()) + " frames per second";
    }

    std::string DigestText(core::Parameter& stored) {
        if (document.IsTable()) {
            return "";
        }
        const core::JsonMember* const member = Members().Find("MD5");
        std::string digest;
        if (member == nullptr || !member->Get(digest)) {
            return ", no digest";
        }
        if (digest == stored.GetHashString()) {
            return ", digest right";
        }
        later.push_back("the digest is " + QuotedText(digest) +
                        ", but that of the keyframes is \"" + stored.GetHashString() + "\"");
        return ", digest wrong";
    }

    void Report(const std::string& finding) {
        console.out << document.Name() << ": " << finding << '\n';
        ++findings;
    }

    // What this library reads, and others read differently or not at all.
    void CheckText() {
        using core::JsonEncoding;
        using core::JsonGrammar;
        using core::JsonOverflow;
        const auto check = [this](const char* what, const core::JsonParseOptions& options) {
            core::JsonDoc read;
            if (const auto result = core::ParseJson(document.Text(), read.Root(), options);
                !result) {
                Report(std::string(what) + result.Message());
                return false;
            }
            return true;
        };
        core::JsonDoc strict;
        // Stored curves without a range hold integers that only a double holds.
        if (!document.HasOwnText() &&
            !core::ParseJson(document.Text(), strict.Root(),
                             {JsonGrammar::Standard, JsonOverflow::ToDouble, JsonEncoding::Utf8})) {
            check("not what the standard of JSON allows: ",
                  {JsonGrammar::Standard, JsonOverflow::Saturate, JsonEncoding::AnyBytes});
            check("a number beyond all doubles: ",
                  {JsonGrammar::Wide, JsonOverflow::ToDouble, JsonEncoding::AnyBytes});
            check("text that is not UTF-8: ",
                  {JsonGrammar::Wide, JsonOverflow::Saturate, JsonEncoding::Utf8});
        }
        CheckNames();
    }

    // Of two members with one name, readers take one or the other.
    void CheckNames() {
        std::vector<const core::JsonValue*> open = {&document.Root()};
        std::set<std::string_view> names;
        while (!open.empty()) {
            const core::JsonValue& value = *open.back();
            open.pop_back();
            const core::JsonObject* object = nullptr;
            const core::JsonArray* array = nullptr;
            if (value.Get(object)) {
                names.clear();
                for (const core::JsonMember& member : *object) {
                    if (!names.insert(member.Name()).second) {
                        Report("an object with two members " + QuotedText(member.Name()));
                    }
                    open.push_back(&member);
                }
            } else if (value.Get(array)) {
                for (const core::JsonElem& element : *array) {
                    open.push_back(&element);
                }
            }
        }
    }

    void Report(const TimeValuePair& keyframe, std::size_t index, const std::string& finding) {
        Report("keyframe " + std::to_string(index) + " (" + TimeText(keyframe.GetTime()) +
               "): " + finding);
    }

    // The place of a keyframe in the file, which counts what is left out.
    struct StoredTime {
        double time;
        std::size_t index;
    };

    void CheckStoredOrder(core::Parameter& stored) {
        for (const std::string& finding : std::exchange(later, {})) {
            Report(finding);
        }
        const core::JsonArray& elements = Members().Find("keyframeSets")->AsArray();
        std::vector<core::LeftOutKeyframe> leftOut;
        if (stored.GetKeyFramesCount() < elements.Count()) {
            std::string text;
            Members().Dump(text);
            core::Parameter again;
            core::DesializeAndReport(again, text.c_str(), leftOut);
        }
        std::vector<StoredTime> times;
        auto next = leftOut.begin();
        std::size_t index = 0;
        for (const core::JsonElem& element : elements) {
            if (next != leftOut.end() && next->index == index) {
                Report("keyframe " + std::to_string(index) +
                       " of the file is left out: " + next->reason);
                ++next;
            } else {
                times.push_back({element.AsObject().Find("_time")->AsDouble(), index});
            }
            ++index;
        }
        const auto isBefore = [](const StoredTime& a, const StoredTime& b) {
            return a.time < b.time;
        };
        for (std::size_t i = 1; i < times.size(); ++i) {
            if (times[i].time < times[i - 1].time - core::kTimeTolerance) {
                Report("keyframe " + std::to_string(times[i].index) + " of the file (" +
                       TimeText(times[i].time) + ") stands behind one of a later time, " +
                       TimeText(times[i - 1].time));
            }
        }
        std::stable_sort(times.begin(), times.end(), isBefore);
        for (std::size_t i = 1; i < times.size(); ++i) {
            if (times[i].time - times[i - 1].time < core::kTimeTolerance) {
                const auto [first, last] = std::minmax(times[i - 1].index, times[i].index);
                Report("keyframe " + std::to_string(last) + " of the file (" +
                       TimeText(times[i].time) + ") has the time of keyframe " +
                       std::to_string(first) + ", which it replaces");
            }
        }
    }

    void CheckKeyframe(core::Parameter& stored, const std::vector<TimeValuePair>& keyframes,
                       std::size_t i) {
        const TimeValuePair& keyframe = keyframes[i];
        const auto type = static_cast<int>(keyframe.GetInterpolation());
        if (type < 0 || type > static_cast<int>(Interpolation::Extrapolate)) {
            Report(keyframe, i,
                   "interpolation " + std::to_string(type) + " is unknown and taken for Hermite");
        }
        core::ValAny low;
        core::ValAny high;
        if (keyframe.GetValue().IsNumber() && HasRange(stored, low, high)) {
            const double value = plot::ShownValue(stored, keyframe.GetValue());
            if (value < low.AsDouble() || value > high.AsDouble()) {
                Report(keyframe, i,
                       "value " + NumberText(value) + " lies outside the range " + ValueText(low) +
                           " to " + ValueText(high));
            }
        }
        const core::ParameterTypeEnum parameterType = stored.GetParameterType();
        if (parameterType != core::ParameterDouble && parameterType != core::ParameterInt) {
            return;
        }
        if (i > 0) {
            CheckHandle(keyframes, i, i - 1, "left", keyframe.GetLeftDerivative());
        }
        if (i + 1 < keyframes.size()) {
            CheckHandle(keyframes, i, i, "right", keyframe.GetRightDerivative());
        }
    }

    // The handle of keyframe `i` on the segment that starts at keyframe `start`.
    void CheckHandle(const std::vector<TimeValuePair>& keyframes, std::size_t i, std::size_t start,
                     const char* side, double x) {
        if (plot::IsTimeValueBezier(keyframes[start].GetInterpolation(),
                                    keyframes[start + 1].GetInterpolation()) &&
            keyframes[i].GetInterpolation() != Interpolation::Linear &&
            (x < -kSavedDigit || x > 1.0 + kSavedDigit)) {
            Report(keyframes[i], i,
                   std::string("the X of the ") + side + " handle, " + NumberText(x) +
                       ", lies outside 0 to 1");
        }
    }

    // A linear segment is straight while its handles say so.
    void CheckStraightness(core::Parameter& stored, const std::vector<TimeValuePair>& keyframes) {
        const core::ParameterTypeEnum type = stored.GetParameterType();
        if (type != core::ParameterDouble && type != core::ParameterInt) {
            return;
        }
        const std::vector<plot::SegmentLevers> segments = plot::Levers(stored);
        for (std::size_t i = 0; i < segments.size(); ++i) {
            const Interpolation to = keyframes[i + 1].GetInterpolation();
            if (keyframes[i].GetInterpolation() == Interpolation::Linear &&
                !plot::IsTimeValueBezier(Interpolation::Linear, to) &&
                (segments[i].showsStart || segments[i].showsEnd)) {
                Report(keyframes[i], i,
                       "its segment is Linear but no straight line: a handle has another slope");
            }
        }
    }

    void CheckSpeeds(core::SpeedParameter& speed, const std::vector<TimeValuePair>& keyframes) {
        const double length = speed.GetSourceTotalTime();
        if (speed.GetParameterType() == core::ParameterInt) {
            Report("a speed curve of integers: its speeds are cut to whole numbers when saved");
        }
        for (std::size_t i = 0; i < keyframes.size(); ++i) {
            const TimeValuePair& keyframe = keyframes[i];
            if (!keyframe.GetValue().IsNumber()) {
                Report(keyframe, i, "a speed that is no number");
                continue;
            }
            const double value = keyframe.GetValue().AsDouble();
            if (std::fabs(value) < core::kNearZeroSpeed && i + 1 < keyframes.size()) {
                Report(keyframe, i,
                       "speed " + NumberText(value) + " turns into a freeze of " +
                           NumberText(keyframes[i + 1].GetTime() - keyframe.GetTime()) + " s");
            } else if (value < 0.0 && std::fabs(value) >= core::kNearZeroSpeed) {
                Report(keyframe, i, "speed " + NumberText(value) + " is negative");
            }
            if (keyframe.GetTime() > length + core::kTimeTolerance) {
                Report(keyframe, i,
                       "lies beyond the length of the source, " + NumberText(length) + " s");
            }
        }
    }

    // A segment whose speed does not run evenly takes another time than what it shows; at
    // its end, and at those behind it, the picture jumps to what the keyframe says.
    void CheckJumps(core::SpeedParameter& speed) {
        const std::vector<TimeValuePair> keyframes = plot::Keyframes(speed);
        const std::shared_ptr<core::Parameter> rendered = speed.GetParameterInternal();
        const auto count = static_cast<std::size_t>(rendered->GetKeyFramesCount());
        if (count != keyframes.size()) {
            return;  // speeds that lead back
        }
        double before = 0.0;
        std::size_t uneven = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const double at = rendered->GetPointTime(static_cast<int>(i));
            const double jump =
                keyframes[i].GetTime() - rendered->GetAreaFromTo(0.0, at, false, 0.0, 0.0);
            // One that starts still is a freeze, and said to be one.
            if (i > 0 && std::fabs(jump - before) > kVisibleJump &&
                std::fabs(keyframes[i - 1].GetValue().AsDouble()) >= core::kNearZeroSpeed) {
                uneven = i;
            }
            if (uneven > 0 && std::fabs(jump) > kVisibleJump) {
                Report(keyframes[i], i,
                       "the picture jumps by " + SecondsText(jump) + ", because the speed from " +
                           TimeText(keyframes[uneven - 1].GetTime()) + " on, of type " +
                           plot::InterpolationName(keyframes[uneven - 1].GetInterpolation()) +
                           ", does not run evenly");
            }
            before = jump;
        }
    }

    // Freezes that the curve did not take. Those that keyframes turned into cannot be
    // told from the others, so with such keyframes nothing is said.
    void CheckFreezes(core::SpeedParameter& speed, const std::vector<TimeValuePair>& keyframes) {
        const core::JsonArray* freezes = nullptr;
        const core::JsonMember* const member = Members().Find("_freeze");
        if (member == nullptr) {
            return;
        }
        if (!member->Get(freezes)) {
            Report("\"_freeze\" is no array");
            return;
        }
        const bool hasOthers =
            std::any_of(keyframes.begin(), keyframes.end(), [](const TimeValuePair& keyframe) {
                return keyframe.GetValue().IsNumber() &&
                       std::fabs(keyframe.GetValue().AsDouble()) < core::kNearZeroSpeed;
            });
        const auto stored = static_cast<std::size_t>(freezes->Count());
        const std::size_t taken = plot::FreezesOf(speed).size();
        if (!hasOthers && taken < stored) {
            Report(std::to_string(stored - taken) + " of " + CountText(stored, "freeze") +
                   " left out: not two numbers, beyond the source, inside another, or too short");
        }
    }

    const Document& document;
    const Console& console;
    std::vector<std::string> later;  // findings that belong behind the first line
    std::size_t findings = 0;
};

}  // namespace

std::vector<std::string> Describe(const Document& document) {
    std::istringstream in;
    std::ostringstream out;
    Checker(document, {in, out, out}).Check();
    std::vector<std::string> lines;
    std::istringstream text(out.str());
    const std::size_t start = document.Name().size() + 2;  // "name: "
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line.substr(start));
    }
    return lines;
}

namespace {

namespace fs = std::filesystem;

// What may be a document, in a folder.
bool HasDocumentName(const fs::path& file) {
    const fs::path ending = file.extension();
    return ending == ".json" || ending == ".packed" || ending == ".kf";
}

std::string Utf8Of(const fs::path& path) {
    const std::u8string text = path.generic_u8string();
    return {text.begin(), text.end()};
}

// Folders stand for the documents in them and below, in the order of their names.
std::vector<std::string> FilesOf(const CheckRequest& request, bool& hasFolder) {
    std::vector<std::string> files;
    for (const std::string& name : request.files) {
        const fs::path path(std::u8string(name.begin(), name.end()));
        std::error_code error;
        if (name == "-" || !fs::is_directory(path, error)) {
            files.push_back(name);
            continue;
        }
        hasFolder = true;
        std::vector<std::string> found;
        auto entry = fs::recursive_directory_iterator(
            path, fs::directory_options::skip_permission_denied, error);
        for (; entry != fs::recursive_directory_iterator(); entry.increment(error)) {
            if (entry->is_regular_file(error) && HasDocumentName(entry->path())) {
                found.push_back(Utf8Of(entry->path()));
            }
        }
        std::sort(found.begin(), found.end());
        files.insert(files.end(), found.begin(), found.end());
    }
    return files;
}

// What checking a file came to.
struct Verdict {
    std::string file;
    std::vector<std::string> lines;  // what it is, and the findings
    std::string error;

    const char* Word() const {
        return !error.empty() ? "error" : lines.size() > 1 ? "suspicious" : "fine";
    }
};

Verdict VerdictOn(const std::string& file, const Console& console) {
    Verdict verdict{InputName(file), {}, {}};
    try {
        verdict.lines = Describe(Document(file, console));
    } catch (const Failure& failure) {
        verdict.error = failure.what();
    }
    return verdict;
}

std::string JsonText(const Verdict& verdict) {
    std::string text =
        "{\"file\": " + QuotedText(verdict.file) + ", \"status\": \"" + verdict.Word() + "\"";
    if (!verdict.error.empty()) {
        return text + ", \"error\": " + QuotedText(verdict.error) + "}";
    }
    text += ", \"what\": " + QuotedText(verdict.lines.front()) + ", \"findings\": [";
    for (std::size_t i = 1; i < verdict.lines.size(); ++i) {
        text += (i > 1 ? ", " : "") + QuotedText(verdict.lines[i]);
    }
    return text + "]}";
}

}  // namespace

int Check(const CheckRequest& request, const Console& console) {
    bool hasFolder = false;
    const std::vector<std::string> files = FilesOf(request, hasFolder);
    std::size_t suspicious = 0;
    std::size_t failed = 0;
    if (request.isJson) {
        console.out << '[';
    }
    for (std::size_t i = 0; i < files.size(); ++i) {
        const Verdict verdict = VerdictOn(files[i], console);
        suspicious += verdict.error.empty() && verdict.lines.size() > 1 ? 1U : 0U;
        failed += verdict.error.empty() ? 0U : 1U;
        if (request.isJson) {
            console.out << (i == 0 ? "\n" : ",\n") << JsonText(verdict);
        } else if (!verdict.error.empty()) {
            ReportError(console, verdict.error);
        }
        for (std::size_t line = 0; !request.isJson && line < verdict.lines.size(); ++line) {
            console.out << verdict.file << ": " << verdict.lines[line] << '\n';
        }
        RequireOutput(console);
    }
    if (request.isJson) {
        console.out << "\n]\n";
    } else if (hasFolder) {
        console.out << CountText(files.size(), "document") << ": "
                    << files.size() - suspicious - failed << " fine, " << suspicious
                    << " suspicious, " << failed << " unreadable\n";
    }
    return failed > 0 ? kTrouble : suspicious > 0 ? kFound : 0;
}

}  // namespace inspect
