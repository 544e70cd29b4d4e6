#include <core/curve/handle_edits.h>
#include <core/curve/motion_path.h>
#include <core/curve/parameter.h>
#include <core/data/json_doc.h>
#include <core/foundation/md5.h>
#include <core/logging/log.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/curve_words.h"
#include "support/file_rows.h"
#include "support/logged.h"
#include "support/split.h"

namespace {

using core::IKeyFrame;
using core::ParameterTypeEnum;
using Type = KeyframeInterpolationType;
using Texts = std::vector<std::string>;

// ---------------------------------------------------------------------------
// Words
// ---------------------------------------------------------------------------

std::string Print(const ValAny& value) {
    char text[64];
    switch (value.Kind()) {
        case ValAny::kNone:
            return "none";
        case ValAny::kBool:
            return value.AsBool() ? "true" : "false";
        case ValAny::kString:
            return "'" + value.AsString() + "'";
        case ValAny::kPoint:
            std::snprintf(text, sizeof text, "(%.17g %.17g)", value.AsPoint().x, value.AsPoint().y);
            return text;
        default:
            std::snprintf(text, sizeof text, "%.17g", value.AsDouble());
            return text;
    }
}

/// All keyframes with every field, to the last bit.
std::string Keyframes(IKeyFrame& parameter) {
    std::string text;
    for (int i = 0; i < parameter.GetKeyFramesCount(); ++i) {
        double lx = 0, ly = 0, rx = 0, ry = 0;
        parameter.GetPointControlParamEx(i, lx, ly, rx, ry);
        char numbers[256];
        std::snprintf(numbers, sizeof numbers, " type %d (%.17g %.17g) (%.17g %.17g)\n",
                      static_cast<int>(parameter.GetInterpolationType(i)), lx, ly, rx, ry);
        text +=
            Print(parameter.GetPointTime(i)) + ": " + Print(parameter.GetPointValue(i)) + numbers;
    }
    return text;
}

std::string Settings(IKeyFrame& parameter) {
    ValAny min, max;
    parameter.GetValueRange(min, max);
    return "type " + std::to_string(parameter.GetParameterType()) + " range " + Print(min) +
           " to " + Print(max) + " ratio " + Print(parameter.GetBaseRatio());
}

std::string Everything(IKeyFrame& parameter) {
    return Settings(parameter) + "\n" + Keyframes(parameter);
}

Parameter Load(const std::string& text) {
    Parameter parameter;
    EXPECT_EQ(0, parameter.Desialize(text.c_str())) << text.substr(0, 1000);
    return parameter;
}

/// A document with these keyframes, as text.
std::string Document(const std::string& keyframes, const std::string& settings = "") {
    return "{" + settings + "\"keyframeSets\": [" + keyframes + "]}";
}

std::string HashOf(const IKeyFrame& parameter) {
    return parameter.GetHashString();
}

std::string HashInText(const std::string& text) {
    core::JsonDoc document;
    document.Parse(text.c_str());
    return document.Root().AsObject()["MD5"].AsString();
}

/// What comes back from a file is, from then on, the same to the last bit; and its hash
/// was so from the start.
void ExpectSettles(Parameter& parameter) {
    const std::string text = parameter.Serialize();
    Parameter loaded = Load(text);
    EXPECT_EQ(HashOf(parameter), HashOf(loaded)) << text;
    EXPECT_EQ(HashOf(parameter), HashInText(text));
    Parameter again = Load(loaded.Serialize());
    EXPECT_EQ(Everything(loaded), Everything(again)) << text;
    EXPECT_EQ(loaded.Serialize(), again.Serialize());
}

ParameterTypeEnum TypeNumber(int number) {
    return static_cast<ParameterTypeEnum>(number);
}

/// A number with at most six decimals: files keep it as it is.
double ShortNumber(Dice& dice) {
    return (dice.Below(2000001) - 1000000) / (dice.OneIn(2) ? 1e6 : 1e3);
}

ValAny RandomValue(Dice& dice, ParameterTypeEnum type) {
    static const Texts texts = support::Split(
        ";plain;\"quotes\" and \\;line\nbreak\t\x01;\xC5\x84 \xF0\x9F\x90\x8C;"
        "a text longer than sixteen bytes",
        ';');
    switch (type) {
        case core::ParameterInt:
            return dice.Below(200001) - 100000;
        case core::ParameterBool:
            return dice.OneIn(2);
        case core::ParameterString:
            return dice.Pick(texts);
        case core::ParameterPoint:
            return Pointd{ShortNumber(dice), ShortNumber(dice)};
        default:
            return ShortNumber(dice);
    }
}

Parameter RandomParameter(Dice& dice, ParameterTypeEnum type) {
    Parameter parameter;
    parameter.SetParameterType(type);
    for (int i = dice.Below(12); i > 0; --i) {
        parameter.AddPoint(ShortNumber(dice), RandomValue(dice, type),
                           static_cast<Type>(dice.Pick(gallery::Types())));
    }
    for (int i = 0; i < parameter.GetKeyFramesCount(); ++i) {
        parameter.SetPointControlParamEx(i, ShortNumber(dice), ShortNumber(dice), ShortNumber(dice),
                                         ShortNumber(dice));
    }
    if (dice.OneIn(2)) {
        parameter.SetValueRange(RandomValue(dice, type), RandomValue(dice, type));
    }
    if (dice.OneIn(2) && type != core::ParameterString) {
        parameter.SetBaseRatio(type == core::ParameterInt ? ValAny(dice.Below(9)) : ValAny(1.5));
    }
    return parameter;
}

// ---------------------------------------------------------------------------
// Texts
// ---------------------------------------------------------------------------

// Other tools compare stored files.
TEST(Serialisation, WritesTheLayoutOfStoredFiles) {
    Parameter number;
    Parameter whole(ValAny(1));
    whole.AddPoint(0, 2.9, Type::Linear);
    whole.SetBaseRatio(2.5);
    Parameter text(ValAny("x"));
    text.AddPoint(1, "a \"b\"", Type::Linear);
    Parameter point(ValAny(Pointd{}));
    point.AddPoint(-1.25, Pointd{0.5, 1.0 / 3}, Type::Bezier);
    point.SetPointControlParamEx(0, 1, 2, 3, 4);
    point.SetValueRange(Pointd{0, 0}, Pointd{1, 2});
    Parameter flag(true);
    flag.AddPoint(0.2, false, Type::Linear);
    const std::map<std::string, Parameter*> curves = {
        {"no keyframe", &number}, {"whole numbers", &whole}, {"flags", &flag},
        {"texts", &text},         {"points", &point},
    };
    for (const support::FileRow& row : support::RowsOf("stored_layouts.txt")) {
        Parameter& curve = *curves.at(row.name);
        const std::string hashed = row["hashed"];
        const std::string hash = core::md5::MD5String(hashed.data(), hashed.size());
        // Kept on purpose: no blank behind the last colon.
        EXPECT_EQ(row[""] + R"(,"MD5":")" + hash + "\"}", curve.Serialize());
        EXPECT_EQ(hash, curve.GetHashString());
        EXPECT_EQ(curve.Serialize(), curve.SerializeEx());
    }
}

TEST(Serialisation, ReproducesEveryFieldAndSample) {
    Dice dice(31);
    for (int n = 0; n < 1500; ++n) {
        const ParameterTypeEnum type = TypeNumber(n % 5);
        Parameter saved = RandomParameter(dice, type);
        const std::string text = saved.Serialize();
        Parameter loaded = Load(text);
        ASSERT_EQ(Everything(saved), Everything(loaded)) << text;
        ASSERT_EQ(HashOf(saved), HashOf(loaded));
        ASSERT_EQ(HashOf(saved), HashInText(text));
        for (int i = 0; i < 20; ++i) {
            const double time = dice.Between(-1100, 1100);
            ASSERT_EQ(Print(saved.GetValue(time, true)), Print(loaded.GetValue(time, true)));
        }
    }
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        SCOPED_TRACE(exhibit.name);
        Parameter curve = gallery::Build(exhibit);
        ExpectSettles(curve);
        EXPECT_EQ(curve.GetKeyFramesCount(), Load(curve.Serialize()).GetKeyFramesCount());
    }
}

/// Numbers that a file keeps, rounds, cuts, or turns into something else.
Times TroublesomeNumbers(Dice& dice) {
    Times numbers = support::NumbersOf(
        "0 -0 0.19999999999999998 0.3 1.25 1e-8 4.9e-9 5e-9 -5e-9 1e-300 5e-324 0.3333333333333333 "
        "99999999.99999999 1e8 123456789.1 123456789.3 4503599627370497.5 900719925474099.3 "
        "9007199254740993 1e15 1e16 1e22 9.2233720368547758e18 1.8446744073709552e19 2e19 1e60 "
        "9.9e61 1e62 1e63 1e300 1.7976931348623157e308");
    for (int n = 0; n < 3000; ++n) {
        const double sized = std::pow(10, dice.Between(-12, 25)) * dice.Between(0.1, 1);
        const double tenth = dice.Below(1 << 30) * 16777216.0 * 0.1;
        numbers.push_back(n % 3 == 0 ? sized : n % 3 == 1 ? std::nextafter(tenth, 0) : tenth);
    }
    const std::size_t count = numbers.size();
    for (std::size_t i = 0; i < count; ++i) {
        numbers.push_back(-numbers[i]);
    }
    return numbers;
}

TEST(Serialisation, TheHashDoesNotNoticeWhatSavingDoesToNumbers) {
    // An automatic handle, whose zero has a sign.
    Parameter level;
    level.AddPoint(0.0, 0.0, Type::Bezier);
    level.SetPointControlParamEx(0, 2.0 / 3, -0.0, 1.0 / 3, 0.0);
    ExpectSettles(level);
    Dice dice(32);
    for (const double number : TroublesomeNumbers(dice)) {
        Parameter parameter;
        parameter.AddPoint(number, number, Type::Bezier);
        parameter.SetPointControlParamEx(0, number, number / 3, -number, number * 0.1);
        ExpectSettles(parameter);
        if (HasFailure()) {
            FAIL() << "with " << Print(number);
        }
    }
}

// Times that round to one and the same must not cost a keyframe.
TEST(Serialisation, KeepsKeyframesThatNearlyMatch) {
    Dice dice(33);
    Times times = {1e62, 1e70, 1e80, -1e62, -1e80, -1e19, 2e19};
    for (int n = 0; n < 2000; ++n) {
        const double time = dice.Between(-3, 3) * std::pow(10, dice.Below(9));
        times.push_back(time);
        times.push_back(time + dice.Between(1e-7, 1.2e-7));
        times.push_back(times.back() + 1.0000001e-7);
    }
    Parameter parameter;
    for (const double time : times) {
        parameter.AddPoint(time, 1.0, Type::Linear);
    }
    EXPECT_EQ(parameter.GetKeyFramesCount(), Load(parameter.Serialize()).GetKeyFramesCount());
    ExpectSettles(parameter);
}

TEST(Serialisation, TheHashTellsCurvesApart) {
    const auto with = [](const std::vector<std::pair<double, ValAny>>& keys,
                         ParameterTypeEnum type) {
        Parameter parameter;
        parameter.SetParameterType(type);
        for (const auto& [time, value] : keys) {
            parameter.AddPoint(time, value, Type::Hermite);
        }
        return HashOf(parameter);
    };
    EXPECT_NE(with({{1, 12}}, core::ParameterInt), with({{11, 2}}, core::ParameterInt));
    EXPECT_NE(with({{0, "ab"}, {1, "c"}}, core::ParameterString),
              with({{0, "a"}, {1, "bc"}}, core::ParameterString));
    EXPECT_NE(with({{0, "a"}}, core::ParameterString),
              with({{0, "a\"0.0,0.0,0.0,0.0,;"}}, core::ParameterString));
    EXPECT_NE(with({{0, Pointd{1, 23}}}, core::ParameterPoint),
              with({{0, Pointd{12, 3}}}, core::ParameterPoint));

    // Every field counts; what is no part of a keyframe does not.
    Parameter curve;
    curve.AddPoint(0, 1.0, Type::Hermite);
    curve.AddPoint(2, 3.0, Type::Hermite);
    curve.SetPointControlParamEx(1, 4, 5, 6, 7);
    const std::string before = HashOf(curve);
    const char* const pointer = curve.GetHashString();
    curve.SetBaseRatio(2.0);
    curve.SetValueRange(0.0, 1.0);
    curve.GetValue(1.0, true);
    EXPECT_EQ(before, curve.GetHashString());
    EXPECT_EQ(pointer, curve.GetHashString());
    void (*const edits[])(Parameter&) = {
        [](Parameter& p) { p.SetPointTime(1, 2.5); },
        [](Parameter& p) { p.SetPointValue(1, 3.5); },
        [](Parameter& p) { p.SetPointControlLeftParam(1, 4.5, 5); },
        [](Parameter& p) { p.SetPointControlLeftParam(1, 4, 5.5); },
        [](Parameter& p) { p.SetPointControlRightParam(1, 6.5, 7); },
        [](Parameter& p) { p.SetPointControlRightParam(1, 6, 7.5); },
        [](Parameter& p) { p.SetPointInterpolationType(0, Type::Hermite8); },
        [](Parameter& p) { p.AddPoint(3, 3.0, Type::Hermite); },
        [](Parameter& p) { p.RemovePoint(0); },
        [](Parameter& p) { p.RemoveKeyFramesAfterTime(1); },
        [](Parameter& p) { p.ClearKeyFrames(); },
        [](Parameter& p) { p.SetParameterType(core::ParameterInt); },
    };
    for (const auto& edit : edits) {
        Parameter copy(curve);
        EXPECT_EQ(before, copy.GetHashString());
        edit(copy);
        EXPECT_NE(before, copy.GetHashString()) << "edit " << &edit - edits;
        copy = curve;
        EXPECT_EQ(before, copy.GetHashString());
    }
}

// ---------------------------------------------------------------------------
// Reading
// ---------------------------------------------------------------------------

TEST(Deserialisation, AcceptsWhatIsThereAndLeavesOutWhatIsNot) {
    const support::Quiet quiet;
    for (const support::FileRow& row : support::RowsOf("loaded_curves.txt")) {
        Parameter parameter = Load(row[""]);
        std::string keyframes = row["keyframes"];
        EXPECT_EQ(keyframes += keyframes.empty() ? "" : "\n", Keyframes(parameter)) << row.name;
        ExpectSettles(parameter);
    }
}

TEST(Deserialisation, AbsentMembersLeaveTheirSetting) {
    Parameter parameter;
    parameter.AddPoint(0, 1.0, kLinear);
    parameter.SetValueRange(-1.0, 1.0);
    parameter.SetBaseRatio(3.0);
    ASSERT_EQ(0, parameter.Desialize(Document("").c_str()));
    EXPECT_EQ("type 0 range -1 to 1 ratio 3", Settings(parameter));
    EXPECT_EQ(0, parameter.GetKeyFramesCount());
    ASSERT_EQ(0, parameter.Desialize(
                     Document("", R"("_maxVal": 2, "_minVal": {}, "_baseRatio": null,)").c_str()));
    EXPECT_EQ("type 0 range -1 to 2 ratio none", Settings(parameter));

    // What was read as version is written back, whatever it is.
    EXPECT_EQ(0, parameter.Desialize(Document("", R"("Version": -77,)").c_str()));
    parameter.AddPoint(3, 1.0, kLinear);
    Parameter copy(parameter);
    EXPECT_EQ(0U, copy.Serialize().find("{\"Version\": -77,"));
    // Without a range, the new type has none either.
    Parameter other;
    EXPECT_EQ(0, other.Desialize(Document("", R"("ParameterType": 1,)").c_str()));
    EXPECT_EQ("type 1 range -2147483647 to 2147483647 ratio none", Settings(other));
    EXPECT_EQ(0, other.Desialize(Document("", R"("ParameterType": 0,)").c_str()));
    parameter = Parameter();
    EXPECT_EQ(Settings(parameter), Settings(other));
}

TEST(Deserialisation, RefusesAsAWhole) {
    Dice dice(34);
    Parameter parameter = RandomParameter(dice, core::ParameterDouble);
    parameter.AddPoint(1, 5.0, Type::Bezier);
    const std::string before = parameter.Serialize();
    EXPECT_EQ(-1, parameter.Desialize(nullptr));
    Texts texts = support::Split(
        R"(| |null|7|[]|"keyframeSets"|{}|{"keyframeSets": {}}|{"keyframeSets": null}|)"
        "{\"keyframeSets\": [}|\xEF\xBB\xBF{}",
        '|');
    for (const char* const type : {"5", "-1", "\"0\"", "1e99", "null"}) {
        texts.push_back(Document("", std::string("\"ParameterType\": ") + type + ","));
    }
    texts.push_back(Document(std::string(100000, '[')));
    // Every truncation of a document.
    for (std::size_t length = 0; length < before.size(); ++length) {
        texts.push_back(before.substr(0, length));
    }
    for (const std::string& text : texts) {
        ASSERT_EQ(-1, parameter.Desialize(text.c_str())) << text;
        ASSERT_EQ(before, parameter.Serialize()) << text;
    }
}

TEST(Deserialisation, MutatedTextsAreRefusedOrSettle) {
    const support::Quiet quiet;
    Dice dice(35);
    const Texts pieces = support::Split(
        R"(null 1e999 - "" [ ] { } true 0 , 9 _time "_value": 1.7976931348623157e308 \u0000)", ' ');
    int loaded = 0;
    for (int n = 0; n < 6000; ++n) {
        std::string text = RandomParameter(dice, TypeNumber(n % 5)).Serialize();
        for (int changes = 1 + dice.Below(3); changes > 0; --changes) {
            const auto at = static_cast<std::size_t>(dice.Below(static_cast<int>(text.size())));
            const auto length = static_cast<std::size_t>(dice.Below(12));
            switch (dice.Below(3)) {
                case 0:
                    text[at] = static_cast<char>(dice.Below(256));
                    break;
                case 1:
                    text.replace(at, length, dice.Pick(pieces));
                    break;
                default:
                    text.insert(at, text.substr(static_cast<std::size_t>(
                                                    dice.Below(static_cast<int>(text.size()))),
                                                length * 8));
            }
        }
        Parameter parameter = Load(Document(R"({"_time": 1, "_value": 2})"));
        const std::string before = parameter.Serialize();
        if (parameter.Desialize(text.c_str()) == -1) {
            ASSERT_EQ(before, parameter.Serialize()) << text;
        } else {
            ++loaded;
            ExpectSettles(parameter);
            ASSERT_FALSE(HasFailure()) << text;
        }
    }
    EXPECT_GT(loaded, 500);
}

/// The outcome is that of adding the keyframes one by one.
TEST(Deserialisation, KeyframesAreSortedAndTheLaterOfTwoStays) {
    Dice dice(36);
    for (int n = 0; n < 2000; ++n) {
        std::string keyframes;
        Parameter added;
        const int count = dice.Below(n % 10 == 0 ? 200 : 8);
        const double step = dice.OneIn(2) ? 4e-8 : 1e-8;
        for (int i = 0; i < count; ++i) {
            // Near each other, and not quite on the limit of a match.
            const double time = dice.Below(24) * step + 1e-10 * dice.Below(9);
            char text[96];
            std::snprintf(text, sizeof text, "%s{\"_time\": %.17g, \"_value\": %d}",
                          i > 0 ? "," : "", time, i);
            keyframes += text;
            added.AddPoint(time, i, Type::Extrapolate);
        }
        Parameter loaded = Load(Document(keyframes));
        for (int i = 0; i < added.GetKeyFramesCount(); ++i) {
            added.SetPointControlParamEx(i, 0, 0, 0, 0);
        }
        ASSERT_EQ(Keyframes(added), Keyframes(loaded)) << keyframes;
    }
}

/// A curve and its twin that went through files, which get the same edits.
class Twins {
public:
    enum Kind { Seconds, Ticks, Path, PathOfItsCaller };

    Twins(Dice& withDice, Kind ofKind, const std::vector<int>& ofTypes)
        : dice(withDice), kind(ofKind), types(ofTypes) {
        saved.SetParameterType(IsPath() ? core::ParameterPoint : core::ParameterDouble);
        for (int i = 2 + dice.Below(5); i > 0; --i) {
            Add(kind == PathOfItsCaller);
        }
        // Slopes per tick that are set by hand have no digits in a file.
        for (int i = kind == Ticks ? 0 : dice.Below(3); i > 0; --i) {
            saved.SetPointControlRightParam(dice.Below(saved.GetKeyFramesCount()), 0.25, 9);
        }
        loaded = Parameter(saved);
        for (int i = 0; i < 3; ++i) {
            loaded = Load(loaded.Serialize());
        }
        EXPECT_EQ(HashOf(saved), HashOf(loaded));
    }

    void Edit() {
        const int index = dice.Below(saved.GetKeyFramesCount());
        const ValAny value = Value();
        const double time = Time();
        const int kindOfEdit = saved.GetKeyFramesCount() > 1 ? edit % 3 : 0;
        for (Parameter* each : {&saved, &loaded}) {
            switch (kindOfEdit) {
                case 0:
                    each->SetPointValue(index, value);
                    break;
                case 1:
                    each->SetPointTime(index, time);
                    break;
                default:
                    each->RemovePoint(index);
                    break;
            }
        }
        ++edit;
        if (dice.OneIn(2)) {
            Add(false);
        }
    }

    /// The greatest distance of their samples, in the unit of the values' span.
    double Distance() {
        double greatest = 0;
        for (int i = 0; i < 60; ++i) {
            const double time = kSpan * Unit() * i / 60;
            const ValAny a = saved.GetValue(time, false);
            const ValAny b = loaded.GetValue(time, false);
            greatest = std::max(greatest, IsPath() ? Distance(a.AsPoint(), b.AsPoint())
                                                   : std::fabs(a.AsDouble() - b.AsDouble()));
        }
        return greatest / kSpan;
    }
    std::string Print() { return "saved\n" + Keyframes(saved) + "loaded\n" + Keyframes(loaded); }

private:
    static constexpr double kSpan = 30;
    static double Distance(Pointd a, Pointd b) { return std::hypot(a.x - b.x, a.y - b.y); }
    bool IsPath() const { return kind == Path || kind == PathOfItsCaller; }
    double Unit() const { return kind == Ticks ? 1e7 : 1; }
    double Time() { return (1 + dice.Below(90)) / 3.0 * Unit(); }
    ValAny Value() {
        const Pointd point = {dice.Between(-15, 15), dice.OneIn(3) ? 0 : dice.Between(-15, 15)};
        return IsPath() ? ValAny(point) : ValAny(point.x);
    }
    void Add(bool withoutHandles) {
        const double time = Time();
        const ValAny value = Value();
        const auto type = static_cast<Type>(dice.Pick(types));
        for (Parameter* each : {&saved, &loaded}) {
            if (withoutHandles) {
                each->AddPoint(time, value, type);
            } else {
                each->AddPointEx(time, value, type);
            }
        }
    }

    Dice& dice;
    Kind kind;
    std::vector<int> types;
    Parameter saved;
    Parameter loaded;
    int edit = 0;
};

TEST(Deserialisation, LoadedCurvesGoOnAsTheSavedOnesWould) {
    Dice dice(37);
    const std::vector<int> palettes[] = {
        {1}, {7, 8, 9, 10, 11}, {0, 5, 13}, {12}, {1, 6, 7, 12, 16}};
    for (int n = 0; n < 1600; ++n) {
        Twins twins(dice, static_cast<Twins::Kind>(n % 4), palettes[n / 4 % 5]);
        for (int edit = 0; edit < 4; ++edit) {
            // What bisects to a tolerance goes one round further or less.
            const double most = n / 4 % 5 == 2 || n / 4 % 5 == 4 ? 2e-5 : 1e-6;
            ASSERT_LE(twins.Distance(), most) << "case " << n << "\n" << twins.Print();
            twins.Edit();
        }
    }
    // Times and values of few digits are not cut: what differs in the last one is set by hand.
    const Parameter near =
        Load(plain::Build({{0, 0, 7}, {1, 1, 7, {}, {2.00000001, 0}}, {2, 4, 7}}).Serialize());
    EXPECT_TRUE(IsHandleSet(near.Snapshot(), 1, core::HandleSide::Right));
    // Handles that a caller has set on a path stay, also where those at its ends are none.
    Parameter path;
    path.SetParameterType(core::ParameterPoint);
    for (int i = 1; i < 4; ++i) {
        path.AddPoint(i, Pointd{1.0 * i, 2}, Type::Bezier);
    }
    path.SetPointControlParamEx(0, 1, 2, 9, 9);
    path.SetPointControlParamEx(2, 9, 9, 3, 2);
    Parameter loadedPath = Load(path.Serialize());
    for (Parameter* each : {&path, &loadedPath}) {
        each->SetPointValue(1, Pointd{8, 8});
    }
    EXPECT_EQ(Keyframes(path), Keyframes(loadedPath));
}

TEST(Serialisation, WhatNoFileCanHoldCostsNoOtherKeyframe) {
    const support::Quiet quiet;
    Parameter number;
    number.AddPoint(0, 1.0, kLinear);
    number.AddPoint(1, kNan, kLinear);
    number.AddPoint(2, "text", kLinear);
    number.AddPoint(3, true, kLinear);
    number.AddPoint(4, 2.0, kLinear);
    Parameter loaded = Load(number.Serialize());
    EXPECT_EQ(HashOf(number), HashOf(loaded));
    EXPECT_EQ(Times({0, 3, 4}),
              Times({loaded.GetPointTime(0), loaded.GetPointTime(1), loaded.GetPointTime(2)}));

    // A slope that overflows on a path makes handles that are written as 0.
    Parameter steep = plain::Build({{0, 0, 7, {}, {1e308, 0}}, {10, 0, 7}});
    const auto path = core::MergeTwoMotionDimensionIntoWhole(steep, steep);
    Parameter again = Load(path->Serialize());
    EXPECT_EQ("10: (0 0) type 0 (0 0) (0 0)\n", Keyframes(again));

    // Zero bytes end a text in files.
    Parameter text;
    text.SetParameterType(core::ParameterString);
    text.AddPoint(0, std::string("a\0b", 3), kLinear);
    ExpectSettles(text);
}

}  // namespace
